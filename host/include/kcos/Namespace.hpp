// COSNamespace: a namespace of the class-object system ("korvan", "korvan.engine.rest").
//
// Namespaces form a tree under the root namespace (the null name), which holds the host's
// built-in classes (datetime, duration, uint32, double). A namespace holds classes and inner
// namespaces by short name; look-ups by full name go through the process-wide registry.
//
// Adding a class:  ns->addClass(info, replaceExisting, definitionTime)
//   replaceExisting  0: a name that exists is an error, raised by the namespace description's
//                       throwErrorForDefinitionOfExistingName (the new description is freed);
//                    1: the new class replaces the old one (old instances keep their class).
//   definitionTime   0: defineClass runs at once;
//                    1: it runs when this namespace is next asked for any class;
//                    2: it runs when the class itself is first looked up or used.
// Names must be identifiers (letters, digits, underscores; no dots): KORVAN:class:InvalidName.
//
// Ownership: the host owns namespaces and their descriptions for the life of the process.
// Threads: any thread may look up and add; one registry lock (a reader-writer lock) guards
// all namespace tables. Descriptions are called without the lock held.
#pragma once

#include <utility>
#include <vector>

#include "kcos/Interned.hpp"
#include "korvan/host/Export.hpp"

namespace kcos {

class COSClass;
class COSClassInfo;
class COSNamespaceInfo;

class KORVAN_HOST_EXPORT COSNamespace {
  public:
    /// The namespace with this full name, or null. A miss below an existing namespace asks
    /// that namespace's description to load it (attemptToLoadInnerNamespace). The null name
    /// gives the root namespace.
    static COSNamespace* getNamespace(InternedString fullName);
    /// Registers a top-level namespace described by `info` (the host takes ownership) and
    /// returns it.
    static COSNamespace* addNamespace(COSNamespaceInfo* info);
    static COSNamespace* getRootNamespace();

    COSNamespace(const COSNamespace&) = delete;
    COSNamespace& operator=(const COSNamespace&) = delete;

    /// The full name ("korvan.engine.rest"); null for the root.
    InternedString getName() const noexcept { return fFullName; }
    InternedString getShortName() const noexcept { return fShortName; }
    COSNamespace* getParent() const noexcept { return fParent; }
    COSNamespaceInfo* getInfo() const noexcept { return fInfo; }

    /// Adds an inner namespace described by `info` (the host takes ownership); returns it.
    COSNamespace* addInnerNamespace(COSNamespaceInfo* info);
    /// Adds a class (the host takes ownership of `info`); see the header comment.
    COSClass* addClass(COSClassInfo* info, int replaceExisting, int definitionTime);
    /// The class with this short name, defined on first use; null when there is none (after
    /// asking the description's attemptToLoadClass).
    COSClass* getClass(InternedString shortName);

    /// Short names of the classes / inner namespaces, in the order they were added.
    std::vector<InternedString> getClassNames() const;
    std::vector<InternedString> getInnerNamespaceNames() const;

  private:
    struct ClassEntry {
        InternedString fShortName;
        COSClass* fClass;
        int fDefinitionTime;
    };

    COSNamespace(COSNamespaceInfo* info, COSNamespace* parent, InternedString shortName,
                 InternedString fullName)
        : fInfo(info), fParent(parent), fShortName(shortName), fFullName(fullName) {}
    InternedString childFullName(InternedString shortName) const;
    void defineDeferredClasses();

    // constant after construction
    COSNamespaceInfo* const fInfo;  // owned
    COSNamespace* const fParent;
    const InternedString fShortName;
    const InternedString fFullName;

    // guarded by the registry lock (host/kcos/Registry.hpp)
    std::vector<ClassEntry> fClasses;
    std::vector<std::pair<InternedString, COSNamespace*>> fInner;
};

}  // namespace kcos
