#include "korvan/host/UserCode.hpp"

#include "ClassErrors.hpp"
#include "Registry.hpp"
#include "kcos/Class.hpp"
#include "kcos/Client.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Operations.hpp"

namespace korvan::host {
namespace {

using kcos::internal::makeInterned;
using kcos::internal::throwClassError;

std::vector<kx::ArrayPtr> adopt(std::vector<kxArray*>& results) {
    std::vector<kx::ArrayPtr> owned;
    owned.reserve(results.size());
    for (kxArray*& r : results) owned.emplace_back(std::exchange(r, nullptr));
    return owned;
}

// Releases whatever a failed call left in its result slots.
struct ResultSlots {
    explicit ResultSlots(int nlhs) : fSlots(static_cast<std::size_t>(std::max(nlhs, 1)), nullptr) {}
    ~ResultSlots() {
        for (kxArray* a : fSlots) kxReleaseArray(a);
    }
    std::vector<kxArray*> fSlots;
};

// The first method `name` of `cls` that the function form may find, or null.
kcos::COSMethodInfo* dispatchMethod(kcos::COSClass* cls, kcos::InternedString name) {
    for (kcos::COSMethodInfo* m : cls->findMethods(name)) {
        if (m->isFirstArgDispatch() && !m->isStatic() &&
            makeInterned(m->getName()) != cls->getShortName()) {
            return m;
        }
    }
    return nullptr;
}

std::pair<std::string_view, std::string_view> splitLast(std::string_view name) {
    auto dot = name.rfind('.');
    if (dot == std::string_view::npos) return {{}, name};
    return {name.substr(0, dot), name.substr(dot + 1)};
}

}  // namespace

UserCode::UserCode(kcos::COSClient* client)
    : fClient(client ? client : kcos::COSClient::publicClient()) {}

std::vector<kx::ArrayPtr> UserCode::call(std::string_view name, const ArgList& args, int nlhs) {
    ResultSlots out(nlhs);
    auto argv = const_cast<const kxArray**>(args.data());
    const int nrhs = static_cast<int>(args.size());
    const kcos::InternedString interned = makeInterned(name);

    if (!args.empty() && args[0] && kxIsObject(args[0])) {
        auto instance = kcos::instanceOf(args[0], 0);
        kcos::COSClass* cls = instance
                                  ? instance->getClass()
                                  : kcos::COSClass::getClass(makeInterned(kxGetClassName(args[0])));
        if (kcos::COSMethodInfo* m = cls ? dispatchMethod(cls, interned) : nullptr) {
            kcos::callMethod(fClient, cls, m, nlhs, out.fSlots.data(), nrhs, argv);
            return adopt(out.fSlots);
        }
    }
    if (auto function = kcos::internal::findFunctionLoading(name)) {
        (*function)(nlhs, out.fSlots.data(), nrhs, argv);
        return adopt(out.fSlots);
    }
    if (kcos::COSClass* cls = kcos::COSClass::getClass(interned)) {
        out.fSlots[0] = kcos::constructObject(fClient, cls, nrhs, argv);
        return adopt(out.fSlots);
    }
    auto [prefix, last] = splitLast(name);
    if (kcos::COSClass* cls =
            prefix.empty() ? nullptr : kcos::COSClass::getClass(makeInterned(prefix))) {
        for (kcos::COSMethodInfo* m : cls->findMethods(makeInterned(last))) {
            if (m->isStatic()) {
                kcos::callMethod(fClient, cls, m, nlhs, out.fSlots.data(), nrhs, argv);
                return adopt(out.fSlots);
            }
        }
        if (cls->isEnumeration() && args.empty()) {
            out.fSlots[0] = kxDuplicateArray(kcos::getEnumMemberValue(cls, last));
            return adopt(out.fSlots);
        }
    }
    throwClassError("UndefinedFunction", std::string(name));
}

std::vector<kx::ArrayPtr> UserCode::callMethod(const kxArray* object, std::string_view method,
                                               const ArgList& args, int nlhs) {
    auto instance = kcos::scalarInstance(object);
    kcos::COSClass* cls = instance->getClass();
    kcos::COSMethodInfo* m = cls->findMethod(makeInterned(method));
    if (!m) throwClassError("NoSuchMethod", std::string(method), cls->getName().str());
    ArgList argv;
    if (!m->isStatic()) argv.push_back(object);
    argv.insert(argv.end(), args.begin(), args.end());
    ResultSlots out(nlhs);
    kcos::callMethod(fClient, cls, m, nlhs, out.fSlots.data(), static_cast<int>(argv.size()),
                     const_cast<const kxArray**>(argv.data()));
    return adopt(out.fSlots);
}

kx::ArrayPtr UserCode::construct(std::string_view className, const ArgList& args) {
    kcos::COSClass* cls = kcos::COSClass::getClass(makeInterned(className));
    if (!cls) throwClassError("UndefinedClass", std::string(className));
    return kx::ArrayPtr(kcos::constructObject(fClient, cls, static_cast<int>(args.size()),
                                              const_cast<const kxArray**>(args.data())));
}

kx::ArrayPtr UserCode::getProperty(const kxArray* object, std::string_view name) {
    return kx::ArrayPtr(kcos::getPropertyValue(fClient, object, name));
}

void UserCode::setProperty(const kxArray* object, std::string_view name, const kxArray* value) {
    kcos::setPropertyValue(fClient, object, name, value);
}

kx::ArrayPtr UserCode::enumMember(std::string_view fullName) {
    auto [className, member] = splitLast(fullName);
    kcos::COSClass* cls =
        className.empty() ? nullptr : kcos::COSClass::getClass(makeInterned(className));
    if (!cls)
        throwClassError("UndefinedClass", std::string(className.empty() ? fullName : className));
    if (!cls->isEnumeration())
        throwClassError("NoSuchEnumMember", std::string(member), cls->getName().str());
    return kx::ArrayPtr(kxDuplicateArray(kcos::getEnumMemberValue(cls, member)));
}

void UserCode::deleteObject(const kxArray* object) {
    kcos::deleteObject(fClient, object);
}

std::vector<std::string> UserCode::propertyNames(const kxArray* object) const {
    auto instance = kcos::scalarInstance(object);
    std::vector<std::string> names;
    auto it = instance->getClass()->getMemberIterator(kcos::MemberKind::Property);
    while (it.hasMoreElements()) {
        const kcos::COSProperty* p = kcos::cosiToProperty(it.nextElement());
        if (p->isVisible() && fClient->mayAccess(instance->getClass(), p->getGetAccess())) {
            names.push_back(p->getName().str());
        }
    }
    return names;
}

}  // namespace korvan::host
