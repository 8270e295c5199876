// Namespaces and the registry of namespaces and classes.
#include "kcos/Namespace.hpp"

#include <algorithm>
#include <cctype>
#include <memory>
#include <stdexcept>

#include "ClassErrors.hpp"
#include "Registry.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/NamespaceInfo.hpp"

namespace kcos {
namespace internal {

Registry& registry() {
    static auto* r = new Registry;  // never destroyed (see Registry.hpp)
    return *r;
}

COSClass* findRegisteredClass(InternedString fullName) {
    auto& reg = registry();
    std::shared_lock lock(reg.fLock);
    auto it = reg.fClasses.find(fullName);
    return it == reg.fClasses.end() ? nullptr : it->second;
}

}  // namespace internal

namespace {

// The description of the root namespace, which holds the host's built-in classes.
class RootNamespaceInfo final : public COSNamespaceInfo {
  public:
    const char* getName() const override { return ""; }
    void throwErrorForDefinitionOfExistingName(InternedString name) override {
        internal::throwClassError("NameExists", name.str(), "the top level");
    }
    void notifyContentsChanged(InternedString) override {}
};

bool isIdentifier(std::string_view name) {
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name.front()))) return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
    });
}

}  // namespace

COSNamespace* COSNamespace::getRootNamespace() {
    static COSNamespace* root =
        new COSNamespace(new RootNamespaceInfo, nullptr, InternedString(), InternedString());
    return root;
}

COSNamespace* COSNamespace::getNamespace(InternedString fullName) {
    if (!fullName) return getRootNamespace();
    auto& reg = internal::registry();
    {
        std::shared_lock lock(reg.fLock);
        if (auto it = reg.fNamespaces.find(fullName); it != reg.fNamespaces.end())
            return it->second;
    }
    // Not there: ask the parent's description to load it.
    std::string_view name = fullName.view();
    auto dot = name.rfind('.');
    COSNamespace* parent = dot == std::string_view::npos
                               ? getRootNamespace()
                               : getNamespace(internal::makeInterned(name.substr(0, dot)));
    InternedString shortName =
        internal::makeInterned(dot == std::string_view::npos ? name : name.substr(dot + 1));
    if (!parent || !shortName) return nullptr;
    COSNamespaceInfo* loaded = parent->fInfo->attemptToLoadInnerNamespace(shortName);
    if (!loaded) return nullptr;
    parent->addInnerNamespace(loaded);
    std::shared_lock lock(reg.fLock);
    auto it = reg.fNamespaces.find(fullName);
    return it == reg.fNamespaces.end() ? nullptr : it->second;
}

COSNamespace* COSNamespace::addNamespace(COSNamespaceInfo* info) {
    return getRootNamespace()->addInnerNamespace(info);
}

InternedString COSNamespace::childFullName(InternedString shortName) const {
    if (!fFullName) return shortName;
    return internal::makeInterned(fFullName.str() + "." + shortName.str());
}

COSNamespace* COSNamespace::addInnerNamespace(COSNamespaceInfo* info) {
    if (!info) throw std::invalid_argument("addInnerNamespace: null namespace description");
    std::unique_ptr<COSNamespaceInfo> owned(info);
    InternedString shortName = internal::makeInterned(info->getName());
    if (!isIdentifier(shortName.view())) internal::throwClassError("InvalidName", shortName.str());
    InternedString fullName = childFullName(shortName);
    auto candidate =
        std::unique_ptr<COSNamespace>(new COSNamespace(info, this, shortName, fullName));
    owned.release();  // the candidate owns it now (and the candidate is kept or leaked below)

    COSNamespace* existing = nullptr;
    bool taken = false;
    {
        auto& reg = internal::registry();
        std::unique_lock lock(reg.fLock);
        for (auto& [name, inner] : fInner) {
            if (name == shortName) existing = inner;
        }
        taken = existing != nullptr ||
                std::any_of(fClasses.begin(), fClasses.end(),
                            [shortName](const ClassEntry& e) { return e.fShortName == shortName; });
        if (!taken) {
            fInner.emplace_back(shortName, candidate.get());
            reg.fNamespaces[fullName] = candidate.get();
        }
    }
    if (taken) {
        std::unique_ptr<COSNamespaceInfo> discard(candidate->fInfo);
        fInfo->throwErrorForDefinitionOfExistingName(shortName);
        return existing;  // the description chose not to raise: keep what is there
    }
    COSNamespace* added = candidate.release();
    fInfo->notifyContentsChanged(shortName);
    return added;
}

COSClass* COSNamespace::addClass(COSClassInfo* info, int replaceExisting, int definitionTime) {
    if (!info) throw std::invalid_argument("addClass: null class description");
    std::unique_ptr<COSClassInfo> owned(info);
    if (replaceExisting < 0 || replaceExisting > 1 || definitionTime < 0 || definitionTime > 2) {
        throw std::invalid_argument(
            "addClass: replaceExisting must be 0 or 1 and "
            "definitionTime 0, 1 or 2");
    }
    InternedString shortName = internal::makeInterned(info->getName());
    if (!isIdentifier(shortName.view())) internal::throwClassError("InvalidName", shortName.str());
    InternedString fullName = childFullName(shortName);
    std::unique_ptr<COSClass> candidate(new COSClass(owned.release(), this, shortName, fullName));

    COSClass* existing = nullptr;
    bool taken = false;
    {
        auto& reg = internal::registry();
        std::unique_lock lock(reg.fLock);
        auto entry =
            std::find_if(fClasses.begin(), fClasses.end(),
                         [shortName](const ClassEntry& e) { return e.fShortName == shortName; });
        bool isNamespace = std::any_of(fInner.begin(), fInner.end(),
                                       [shortName](const auto& e) { return e.first == shortName; });
        if (entry != fClasses.end()) existing = entry->fClass;
        taken = isNamespace || (existing && replaceExisting == 0);
        if (!taken) {
            // A replaced class stays alive (never freed) for the instances that refer to it.
            if (entry != fClasses.end()) {
                *entry = ClassEntry{shortName, candidate.get(), definitionTime};
            } else {
                fClasses.push_back(ClassEntry{shortName, candidate.get(), definitionTime});
            }
            reg.fClasses[fullName] = candidate.get();
        }
    }
    if (taken) {
        candidate.reset();  // frees the new description
        fInfo->throwErrorForDefinitionOfExistingName(shortName);
        return existing;
    }
    COSClass* added = candidate.release();
    fInfo->notifyContentsChanged(shortName);
    if (definitionTime == 0) added->ensureDefined();
    return added;
}

void COSNamespace::defineDeferredClasses() {
    std::vector<COSClass*> pending;
    {
        std::shared_lock lock(internal::registry().fLock);
        for (const auto& e : fClasses) {
            if (e.fDefinitionTime == 1 && !e.fClass->isDefined()) pending.push_back(e.fClass);
        }
    }
    for (COSClass* cls : pending) cls->ensureDefined();
}

COSClass* COSNamespace::getClass(InternedString shortName) {
    if (!shortName) return nullptr;
    defineDeferredClasses();
    COSClass* cls = nullptr;
    {
        std::shared_lock lock(internal::registry().fLock);
        for (const auto& e : fClasses) {
            if (e.fShortName == shortName) cls = e.fClass;
        }
    }
    if (!cls) {
        COSClassInfo* loaded = fInfo->attemptToLoadClass(shortName);
        if (!loaded) return nullptr;
        cls = addClass(loaded, 0, 2);
        if (!cls || cls->getShortName() != shortName) return nullptr;
    }
    cls->ensureDefined();
    return cls;
}

std::vector<InternedString> COSNamespace::getClassNames() const {
    std::shared_lock lock(internal::registry().fLock);
    std::vector<InternedString> names;
    for (const auto& e : fClasses) names.push_back(e.fShortName);
    return names;
}

std::vector<InternedString> COSNamespace::getInnerNamespaceNames() const {
    std::shared_lock lock(internal::registry().fLock);
    std::vector<InternedString> names;
    for (const auto& [name, inner] : fInner) names.push_back(name);
    return names;
}

}  // namespace kcos
