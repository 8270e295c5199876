// Class look-ups, member queries and instances.
#include "kcos/Class.hpp"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "Registry.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Client.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Namespace.hpp"

namespace kcos {

COSClass* COSClass::getClass(InternedString fullName) {
    if (!fullName) return nullptr;
    // Through the namespace, so that it can load the class or define deferred classes.
    std::string_view name = fullName.view();
    auto dot = name.rfind('.');
    COSNamespace* ns =
        dot == std::string_view::npos
            ? COSNamespace::getRootNamespace()
            : COSNamespace::getNamespace(internal::makeInterned(name.substr(0, dot)));
    if (!ns) return nullptr;
    return ns->getClass(
        internal::makeInterned(dot == std::string_view::npos ? name : name.substr(dot + 1)));
}

std::vector<COSMember*> COSClass::snapshot() const {
    std::shared_lock lock(fMembersLock);
    std::vector<COSMember*> members;
    members.reserve(fMembers.size());
    for (const auto& m : fMembers) members.push_back(m.get());
    return members;
}

COSIterator COSClass::getMemberIterator() const {
    return COSIterator(snapshot());
}

COSIterator COSClass::getMemberIterator(MemberKind kind) const {
    auto members = snapshot();
    std::erase_if(members, [kind](const COSMember* m) { return m->getKind() != kind; });
    return COSIterator(std::move(members));
}

const COSProperty* COSClass::findProperty(std::string_view name) const {
    const bool anyCase = fInfo->arePropertiesCaseInsensitive();
    auto same = [anyCase, name](std::string_view candidate) {
        if (!anyCase) return candidate == name;
        return candidate.size() == name.size() &&
               std::equal(candidate.begin(), candidate.end(), name.begin(), [](char a, char b) {
                   return std::tolower(static_cast<unsigned char>(a)) ==
                          std::tolower(static_cast<unsigned char>(b));
               });
    };
    std::shared_lock lock(fMembersLock);
    for (const auto& m : fMembers) {
        if (m->getKind() == MemberKind::Property && same(m->getName().view())) {
            return static_cast<const COSProperty*>(m.get());
        }
    }
    return nullptr;
}

std::vector<COSMethodInfo*> COSClass::findMethods(InternedString name) const {
    std::vector<COSMethodInfo*> methods;
    std::shared_lock lock(fMembersLock);
    for (const auto& m : fMembers) {
        if (m->getKind() == MemberKind::Method && m->getName() == name) {
            methods.push_back(static_cast<const COSMethod*>(m.get())->getInfo());
        }
    }
    return methods;
}

COSMethodInfo* COSClass::findMethod(InternedString name) const {
    std::shared_lock lock(fMembersLock);
    for (const auto& m : fMembers) {
        if (m->getKind() == MemberKind::Method && m->getName() == name) {
            return static_cast<const COSMethod*>(m.get())->getInfo();
        }
    }
    return nullptr;
}

COSMethodInfo* COSClass::getConstructor() const {
    return findMethod(fShortName);
}

InternedString COSClass::getUnderlyingClassName() const {
    std::shared_lock lock(fMembersLock);
    return fUnderlying;
}

bool COSClass::isEnumeration() const {
    return fInfo->isEnumeration();
}

bool COSClass::isHandleClass() const {
    return fInfo->getClassKind() == 1;
}

std::shared_ptr<COSInstance> COSClass::createInstance() {
    std::shared_ptr<COSInstance> instance(new COSInstance(this));
    if (fInfo->willAllocateData()) {
        instance->fData = fInfo->createInstanceData(this);
        instance->fHasData = true;
    }
    return instance;
}

void COSClass::invokeOnInstance(const kx::ObjectRef& element, const COSMethodCall& call, int nlhs,
                                kxArray** plhs) {
    if (!call.method) throw std::invalid_argument("invokeOnInstance: no method");
    if (call.nargs < 0 || (call.nargs > 0 && !call.args)) {
        throw std::invalid_argument("invokeOnInstance: bad argument list");
    }
    kx::ArrayPtr object(kxCreateObjectScalar(element));
    std::vector<const kxArray*> argv{object.get()};
    argv.insert(argv.end(), call.args, call.args + call.nargs);
    kxArray* unused[1] = {nullptr};
    kxArray** out = plhs ? plhs : unused;
    call.method->invoke(nlhs, out, static_cast<int>(argv.size()), argv.data());
    if (!plhs) kxReleaseArray(unused[0]);
}

}  // namespace kcos
