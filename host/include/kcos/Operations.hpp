// Access-checked operations on objects: what user code (and any other client) does with
// objects, classes and enumeration members. omCallMethod, omConstructObjectWithClient and
// korvan::host::UserCode are built on these.
//
// Every operation takes the client whose rights apply (null: the public client). Refusals
// are host errors of the component "KORVAN:class":
//   PropertyGetAccess / PropertySetAccess  the property's get / set access is not open to
//                                           the client
//   MethodAccess, ConstructorAccess, DeleteAccess   the same for methods, constructors and
//                                           a class's delete method
//   NoSuchProperty, NoSuchMethod, NoSuchEnumMember, UndefinedClass   unknown names
//   NotAnObject, NotScalarObject, InvalidHandle    the value is not a (1-by-1, live) object
// Threads: the interpreter thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace kcos {

class COSClass;
class COSClient;
class COSInstance;
class COSMethodInfo;

/// The live instance of a 1-by-1 object array (errors: NotAnObject, NotScalarObject,
/// InvalidHandle).
std::shared_ptr<COSInstance> scalarInstance(const kxArray* object);

/// The value of property `name` of a 1-by-1 object; the caller owns the result.
kxArray* getPropertyValue(COSClient* client, const kxArray* object, std::string_view name);
/// Assigns property `name` of a 1-by-1 object (the instance is changed for every handle).
void setPropertyValue(COSClient* client, const kxArray* object, std::string_view name,
                      const kxArray* value);

/// Calls `method` of `cls` after the access and argument-count checks: for an instance
/// method prhs[0] must be an object of `cls` whose elements are live (NotAnObject,
/// InvalidHandle). plhs has room for max(nlhs, 1) results, owned by the caller afterwards.
void callMethod(COSClient* client, COSClass* cls, COSMethodInfo* method, int nlhs, kxArray** plhs,
                int nrhs, const kxArray** prhs);

/// Constructs an object of `cls` (see omConstructObjectWithClient); the caller owns it.
kxArray* constructObject(COSClient* client, COSClass* cls, int nrhs, const kxArray** prhs);

/// Deletes the objects of an object array, following each class's rules: a class whose
/// description is not destructible refuses (NotDestructible); a class with a method named
/// "delete" has it called (access checked: DeleteAccess); a handle class then marks the
/// instance deleted (all its handles become invalid); a value class without a delete method
/// refuses (DeleteNotHandle).
void deleteObject(COSClient* client, const kxArray* object);

/// The shared value of member `memberName` of an enumeration class (NoSuchEnumMember when
/// there is none). Borrowed: do not release it.
KORVAN_HOST_EXPORT kxArray* getEnumMemberValue(COSClass* enumClass, std::string_view memberName);
/// The member name of element `index` of an enumeration value: the member whose value has the
/// same underlying value; "" when the value is not an enumeration member.
KORVAN_HOST_EXPORT std::string getEnumMemberName(const kxArray* value, kxSize index = 0);

}  // namespace kcos
