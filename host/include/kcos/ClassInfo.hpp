// COSClassInfo: the description of one class that a module (or the host itself) hands to the
// class-object system with COSNamespace::addClass.
//
// Ownership: descriptions are allocated with the host allocator (operator new below) and
// belong to the host once addClass has been called; the host frees them with operator delete
// (through the virtual destructor) and never before the process ends while instances of the
// class may exist.
//
// Threads: the host calls a description on the interpreter thread, one call at a time.
// defineClass runs once, when the class is defined (see COSNamespace::addClass).
//
// The virtual operations are declared in a fixed order that descriptions rely on; every
// operation has a base behaviour except getName. Operations the host consults:
//   defineClass, createInstanceData, destroyInstanceData, getAccess (who may construct),
//   getClassKind (0 value class, 1 handle class: delete invalidates handles), isEnumeration,
//   isAbstract / classIsAbstract (no construction), isDestructible (delete allowed),
//   arePropertiesCaseInsensitive (property look-up), willAllocateData (createInstanceData is
//   called only when true), isHidden (class listings), getDescription (help texts).
// The others are recorded answers with the documented base value, not consulted by this host.
#pragma once

#include <cstddef>
#include <vector>

#include "kcos/Types.hpp"
#include "korvan/host/Export.hpp"

struct kxArray;

namespace kcos {

class COSClass;
class COSClient;

class KORVAN_HOST_EXPORT COSClassInfo {
  public:
    /// Zero-filled host block; raises the host's out-of-memory error on failure.
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    COSClassInfo() = default;
    COSClassInfo(const COSClassInfo&) = delete;
    COSClassInfo& operator=(const COSClassInfo&) = delete;

    virtual ~COSClassInfo();
    /// The short name ("RESTFunctionConnector"); the namespace supplies the prefix.
    virtual const char* getName() const = 0;
    virtual const char* getDescription() const;          // ""
    virtual const char* getDetailedDescription() const;  // ""
    virtual MemberAccess getAccess() const;              // Public
    /// Adds the members (properties, methods, enumeration members, underlying class) to `cls`,
    /// the class under definition. `client` is the class's own client. Base: adds nothing.
    virtual void defineClass(COSClass* cls, COSClient* client);
    /// The native data of a new instance (may be null). An error here means no instance.
    virtual void* createInstanceData(COSClass* cls);  // null
    /// Called once for data from createInstanceData when the instance is deleted or its last
    /// handle goes away.
    virtual void destroyInstanceData(void* data);                             // nothing
    virtual void updateInstance(void* data);                                  // nothing
    virtual int getClassOption() const;                                       // 0
    virtual bool isHidden() const;                                            // false
    virtual bool isCompatibleInexactProperties() const;                       // false
    virtual bool isFullNameDisplayed() const;                                 // true
    virtual bool isPropertyNameReservedByThisClass(const char* name) const;   // false
    virtual bool canOtherClassContainThisClass(const COSClass* other) const;  // true
    virtual bool canThisClassContainOtherClass(const COSClass* other) const;  // true
    /// 0: value class; 1: handle class.
    virtual int getClassKind() const;                   // 0
    virtual bool isHandleCompatible() const;            // false
    virtual bool isEnumeration() const;                 // false
    virtual MemberAccess getConnectAccess() const;      // Public
    virtual int getConnectivity() const;                // 0
    virtual bool areChildrenSaved() const;              // false
    virtual bool isAbstract() const;                    // false
    virtual bool useClassDefaultsOnLoad() const;        // false
    virtual bool isSealed() const;                      // false
    virtual bool isPropertyTruncationAllowed() const;   // false
    virtual bool isConstructedOnLoad() const;           // true
    virtual bool arePropertiesCaseInsensitive() const;  // false
    virtual bool isInstanceLeaf() const;                // true
    virtual bool isDestructible() const;                // true
    virtual bool isLocked() const;                      // false
    virtual void instanceLoaded(void* data);            // nothing
    /// True when the class saved the instance itself (into *saved); false: default saving.
    virtual bool customSave(void* data, kxArray** saved);       // false
    virtual bool customLoad(void* data, const kxArray* saved);  // false
    virtual const char* getModule() const;                      // null
    virtual bool areClassFunctionsAllowed() const;              // true
    virtual bool areExtensionMethodsAllowed() const;            // false
    virtual bool usesRootRecords() const;                       // false
    virtual bool doEventsHaveSeparateNamespace() const;         // false
    virtual bool doesInexactPropertyNameIssueWarning() const;   // true
    virtual bool usesCustomChildrenList() const;                // false
    /// 0: instances form arrays; 1: an instance is always a scalar object.
    virtual int getArrayNature() const;                                  // 0
    virtual std::vector<void*> getChildrenOfInstance(void* data) const;  // none
    virtual bool classIsAbstract() const;                                // isAbstract()
    virtual bool allowInstanceUpdates() const;                           // false
    virtual bool isIDConsistent() const;                                 // true
    /// The data for a copy of an instance; base: the same data (copies share it).
    virtual void* copyData(void* data);
    virtual bool willAllocateData() const;  // true
};

}  // namespace kcos
