// COSClass: a class registered with the class-object system.
//
// A class is made by COSNamespace::addClass from a COSClassInfo and defined once: the host
// calls the description's defineClass with the class, which adds the members with the add
// operations below. Members keep their definition order (display, iteration).
//
// Ownership: the host owns classes and never removes them while the process runs (a replaced
// class stays alive for its instances). The class owns its members and their descriptions.
// Threads: definition and instance operations run on the interpreter thread. Look-ups
// (getClass, findProperty, findMethods, getMemberIterator) may run on any thread: fMembersLock
// guards the member list; definition is serialised by fDefineLock (recursive, so a class may
// look itself up while it is being defined).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <vector>

#include "kcos/Interned.hpp"
#include "kcos/Members.hpp"
#include "kcos/MethodInfo.hpp"
#include "kcos/Property.hpp"
#include "kcos/Types.hpp"
#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace kcos {

class COSClassInfo;
class COSClient;
class COSInstance;
class COSNamespace;

namespace detail {
// The instance method as the class stores it. Outside COSClass so that the wrapper's type
// stays in the caller's library, like the caller's C, instead of being exported with COSClass.
template <class C>
std::function<void(void*)> instanceMethod(void (*function)(C*)) {
    return [function](void* d) { function(static_cast<C*>(d)); };
}
}  // namespace detail

class KORVAN_HOST_EXPORT COSClass {
  public:
    /// The class with this full name ("korvan.engine.rest.Status", "datetime"), defined on
    /// first use; null when there is none. Errors of defineClass propagate (the class stays
    /// undefined and the next look-up tries again).
    static COSClass* getClass(InternedString fullName);

    COSClass(const COSClass&) = delete;
    COSClass& operator=(const COSClass&) = delete;
    ~COSClass();

    InternedString getName() const noexcept { return fFullName; }
    InternedString getShortName() const noexcept { return fShortName; }
    COSNamespace* getNamespace() const noexcept { return fNamespace; }
    COSClassInfo* getInfo() const noexcept { return fInfo; }
    /// The class's own client: full access to this class's members.
    COSClient* getClient() const noexcept { return fClient.get(); }
    bool isDefined() const noexcept { return fState.load() == State::Defined; }
    /// Runs defineClass if the class is not defined yet (see getClass).
    void ensureDefined();

    // ---- definition: called from COSClassInfo::defineClass ---------------------------------

    /// Adds a property (native-double or host-array variant, after its PropMethods record).
    /// `type` comes from COSTypeRepository::findType; null raises the same error as
    /// throwPropertyAddedWithNonexistingTypeError. A second property of the same name raises
    /// KORVAN:class:NameExists.
    template <class C, class V>
    void addProperty(const char* name, const COSType* type, MemberAccess getAccess,
                     MemberAccess setAccess, std::uint32_t attributes, const char* description,
                     PropMethods<C, V> methods) {
        addPropertyBinding(name, type, getAccess, setAccess, attributes, description,
                           PropertyBinding::from<C>(std::move(methods)));
    }
    void addPropertyBinding(const char* name, const COSType* type, MemberAccess getAccess,
                            MemberAccess setAccess, std::uint32_t attributes,
                            const char* description, PropertyBinding binding);

    /// Adds a method bound to a plain function that receives the instance data of this class
    /// for the object the method is called on (null when the instance has none). Such a
    /// method takes no arguments and gives no results: namedInputs and outputs must be 0
    /// (std::invalid_argument otherwise); the host's count checks apply.
    template <class C>
    void addMethod(const char* name, MemberAccess access, int namedInputs, int outputs,
                   void (*function)(C*)) {
        addMethod(name, access, namedInputs, outputs, detail::instanceMethod(function));
    }
    void addMethod(const char* name, MemberAccess access, int namedInputs, int outputs,
                   std::function<void(void*)> function);
    /// Adds a method description; the class takes ownership (also when this throws).
    void addMethod(COSMethodInfo* info);
    /// Adds an enumeration member (in definition order); the class takes ownership.
    void addEnumMember(COSEnumInfo* info);
    /// Declares the class whose constructor stores the value of each instance (an
    /// enumeration's "uint32"). The three flags are recorded: implicitConversion (values
    /// convert to the underlying class in expressions), arithmetic (arithmetic on values is
    /// allowed), storedPerInstance (each instance stores its own underlying value).
    void setUnderlyingClass(InternedString className, int implicitConversion, int arithmetic,
                            int storedPerInstance);
    /// Raises KORVAN:class:PropertyTypeNotFound for a property whose type label is unknown.
    [[noreturn]] void throwPropertyAddedWithNonexistingTypeError(const char* propertyName,
                                                                 const char* typeLabel) const;

    // ---- members ------------------------------------------------------------------------

    COSIterator getMemberIterator() const;
    COSIterator getMemberIterator(MemberKind kind) const;
    /// The property called `name` (case-insensitive when the description says so), or null.
    const COSProperty* findProperty(std::string_view name) const;
    /// All methods called `name`, in definition order.
    std::vector<COSMethodInfo*> findMethods(InternedString name) const;
    /// The first method called `name`, or null.
    COSMethodInfo* findMethod(InternedString name) const;
    /// The constructor: the first method named like the class, or null.
    COSMethodInfo* getConstructor() const;
    InternedString getUnderlyingClassName() const;
    bool isEnumeration() const;
    /// A handle class (getClassKind() == 1): delete invalidates every handle of the instance.
    bool isHandleClass() const;

    // ---- instances ----------------------------------------------------------------------

    /// A new instance with the data from the description's createInstanceData (if it
    /// allocates data). No constructor method runs. An error leaves no instance.
    std::shared_ptr<COSInstance> createInstance();
    /// Runs call.method on `element` (an instance of this class, or of a class whose
    /// underlying class this is) with the call's arguments: the method receives the element
    /// as a 1-by-1 object array, then call.args. No access or count checks: this is how a
    /// class runs another class's method (an enumeration constructor running "uint32").
    void invokeOnInstance(const kx::ObjectRef& element, const COSMethodCall& call, int nlhs = 0,
                          kxArray** plhs = nullptr);

  private:
    friend class COSNamespace;
    enum class State { Undefined, Defining, Defined };

    COSClass(COSClassInfo* info, COSNamespace* ns, InternedString shortName,
             InternedString fullName);
    void addMember(std::unique_ptr<COSMember> member);
    std::vector<COSMember*> snapshot() const;

    // constant after construction
    COSClassInfo* const fInfo;  // owned
    COSNamespace* const fNamespace;
    const InternedString fShortName;
    const InternedString fFullName;
    std::unique_ptr<COSClient> fClient;

    std::recursive_mutex fDefineLock;  // serialises ensureDefined
    std::atomic<State> fState{State::Undefined};

    mutable std::shared_mutex fMembersLock;
    std::vector<std::unique_ptr<COSMember>> fMembers;  // guarded by fMembersLock
    InternedString fUnderlying;                        // guarded by fMembersLock
    int fUnderlyingFlags[3] = {0, 0, 0};               // guarded by fMembersLock
};

}  // namespace kcos
