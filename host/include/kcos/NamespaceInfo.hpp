// COSNamespaceInfo: the description of one namespace, handed to the class-object system with
// COSNamespace::addNamespace (a top-level namespace) or COSNamespace::addInnerNamespace.
//
// The host asks a namespace's description to load what it does not hold yet: when a look-up
// of an inner namespace or a class of this namespace misses, attemptToLoadInnerNamespace /
// attemptToLoadClass may return a new description, which the host adds and uses. When a name
// is added twice, the namespace's throwErrorForDefinitionOfExistingName raises the error.
// notifyContentsChanged is called after a class or inner namespace was added.
//
// Ownership: allocated with the host allocator; belongs to the host once added (never freed
// while the process runs: descriptions may live in modules that are never unloaded first).
// Threads: called on the thread that looks names up (the interpreter thread), never while the
// host holds its registry lock.
#pragma once

#include <cstddef>

#include "kcos/Interned.hpp"
#include "korvan/host/Export.hpp"

namespace kcos {

class COSClassInfo;

class KORVAN_HOST_EXPORT COSNamespaceInfo {
  public:
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    COSNamespaceInfo() = default;
    COSNamespaceInfo(const COSNamespaceInfo&) = delete;
    COSNamespaceInfo& operator=(const COSNamespaceInfo&) = delete;

    virtual ~COSNamespaceInfo();
    /// The short name ("rest"); the parent supplies the prefix.
    virtual const char* getName() const = 0;
    virtual const char* getDescription() const;          // ""
    virtual const char* getDetailedDescription() const;  // ""
    /// A description for the missing inner namespace `shortName`, or null.
    virtual COSNamespaceInfo* attemptToLoadInnerNamespace(InternedString shortName);  // null
    /// Raises the error for adding `name` where it exists (KORVAN:class:NameExists).
    virtual void throwErrorForDefinitionOfExistingName(InternedString name);
    /// A description for the missing class `shortName`, or null.
    virtual COSClassInfo* attemptToLoadClass(InternedString shortName);  // null
    /// Whether the missing function `shortName` was made available (function table).
    virtual bool attemptToLoadFunction(InternedString shortName);  // false
    virtual bool attemptToLoadType(InternedString shortName);      // false
    virtual int getMethodSelector() const;                         // 0
    /// `addedName` (a class or inner namespace) was added to this namespace.
    virtual void notifyContentsChanged(InternedString addedName) = 0;
    virtual bool isDestructible() const;         // true
    virtual bool isLocked() const;               // false
    virtual bool canLoadDynamicContent() const;  // false
};

}  // namespace kcos
