// UserCode: the entry through which host code acts as user code does: calling functions,
// constructing objects, reading and assigning properties, calling methods (dot form and
// function form), reading enumeration members by full name and deleting objects, all with
// the access rights of one client (by default the public client, so private members are
// refused exactly as for a user's script). The korvan command and tests use it.
//
// Values: arguments are borrowed; every result is a kx::ArrayPtr the caller owns. Calls
// return max(nlhs, 1) result slots; a slot the callee did not set is empty (a function may
// give no "ans" when nlhs is 0).
// Errors: host errors (identifier-carrying exceptions) reach the caller unchanged.
// Threads: the interpreter thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace kcos {
class COSClient;
}

namespace korvan::host {

using ArgList = std::vector<const kxArray*>;

class KORVAN_HOST_EXPORT UserCode {
  public:
    /// `client` null: the public client (user code).
    explicit UserCode(kcos::COSClient* client = nullptr);

    /// `name(args...)`, resolved in this order:
    ///  1. args[0] is an object whose class has a method `name` found by the function form
    ///     (isFirstArgDispatch): that method;
    ///  2. a function of the function table (a built-in or a package function "pkg.fn");
    ///  3. a class called `name`: its constructor;
    ///  4. "<class>.<method>": a static method of the class;
    ///  5. "<enumeration>.<member>" without arguments: the member's value.
    /// Otherwise KORVAN:class:UndefinedFunction.
    std::vector<kx::ArrayPtr> call(std::string_view name, const ArgList& args = {}, int nlhs = 1);
    /// `object.method(args...)`: the method of the object's class (KORVAN:class:NoSuchMethod).
    std::vector<kx::ArrayPtr> callMethod(const kxArray* object, std::string_view method,
                                         const ArgList& args = {}, int nlhs = 1);
    /// `ClassName(args...)`.
    kx::ArrayPtr construct(std::string_view className, const ArgList& args = {});
    /// `object.Name`.
    kx::ArrayPtr getProperty(const kxArray* object, std::string_view name);
    /// `object.Name = value`.
    void setProperty(const kxArray* object, std::string_view name, const kxArray* value);
    /// "korvan.engine.rest.Status.running": a copy of the member's shared value.
    kx::ArrayPtr enumMember(std::string_view fullName);
    /// `delete(object)`.
    void deleteObject(const kxArray* object);
    /// The names of the object's visible properties, in the order the class added them (what
    /// a display of the object lists).
    std::vector<std::string> propertyNames(const kxArray* object) const;

  private:
    kcos::COSClient* fClient;
};

}  // namespace korvan::host
