// Access-checked operations on objects (kcos/Operations.hpp).
#include "kcos/Operations.hpp"

#include <stdexcept>
#include <vector>

#include "ClassErrors.hpp"
#include "Registry.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Client.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Namespace.hpp"

namespace kcos {
namespace {

using internal::throwClassError;

COSClient* orPublic(COSClient* client) {
    return client ? client : COSClient::publicClient();
}

std::string classNameOf(const kxArray* value) {
    return value ? kxGetClassName(value) : "null";
}

// The host's count checks against a method's signature (see kcos/MethodInfo.hpp).
void checkCounts(const COSMethodInfo* method, int nlhs, int givenInputs) {
    const COSMethodSignature* sig = method->getMethodSignature();
    if (!sig) return;
    const int declared = static_cast<int>(sig->getInputTypes().size());
    kxCheckArgumentCounts(nlhs, static_cast<int>(sig->getOutputTypes().size()), givenInputs,
                          declared, sig->acceptsFurtherArguments() ? -1 : declared);
}

bool isConstructor(const COSClass* cls, const COSMethodInfo* method) {
    return internal::makeInterned(method->getName()) == cls->getShortName();
}

}  // namespace

std::shared_ptr<COSInstance> scalarInstance(const kxArray* object) {
    if (!object || !kxIsObject(object)) throwClassError("NotAnObject", classNameOf(object));
    if (kxGetNumberOfElements(object) != 1)
        throwClassError("NotScalarObject", kxGetClassName(object));
    auto instance = instanceOf(object, 0);
    if (!instance || instance->isDeleted())
        throwClassError("InvalidHandle", kxGetClassName(object));
    return instance;
}

kxArray* getPropertyValue(COSClient* client, const kxArray* object, std::string_view name) {
    auto instance = scalarInstance(object);
    COSClass* cls = instance->getClass();
    const COSProperty* property = cls->findProperty(name);
    if (!property) throwClassError("NoSuchProperty", std::string(name), cls->getName().str());
    if (!orPublic(client)->mayAccess(cls, property->getGetAccess())) {
        throwClassError("PropertyGetAccess", property->getName().str(), cls->getName().str());
    }
    return property->readValue(instance->getInstanceData(cls));
}

void setPropertyValue(COSClient* client, const kxArray* object, std::string_view name,
                      const kxArray* value) {
    auto instance = scalarInstance(object);
    COSClass* cls = instance->getClass();
    const COSProperty* property = cls->findProperty(name);
    if (!property) throwClassError("NoSuchProperty", std::string(name), cls->getName().str());
    if (!orPublic(client)->mayAccess(cls, property->getSetAccess())) {
        throwClassError("PropertySetAccess", property->getName().str(), cls->getName().str());
    }
    property->writeValue(instance->getInstanceData(cls), value);
}

void callMethod(COSClient* client, COSClass* cls, COSMethodInfo* method, int nlhs, kxArray** plhs,
                int nrhs, const kxArray** prhs) {
    if (!cls || !method || !plhs || nrhs < 0 || (nrhs > 0 && !prhs)) {
        throw std::invalid_argument("callMethod: bad arguments");
    }
    const bool ctor = isConstructor(cls, method);
    if (!orPublic(client)->mayAccess(cls, method->getMemberAccess())) {
        if (ctor) throwClassError("ConstructorAccess", cls->getName().str());
        throwClassError("MethodAccess", std::string(method->getName()), cls->getName().str());
    }
    if (method->isAbstract()) {
        throwClassError("AbstractMethod", std::string(method->getName()), cls->getName().str());
    }
    int given = nrhs;
    if (!method->isStatic()) {
        if (nrhs < 1 || !kxIsObject(prhs[0]) || kxGetClassName(prhs[0]) != cls->getName().view()) {
            throwClassError("NeedsObject", std::string(method->getName()), cls->getName().str());
        }
        for (kxSize i = 0, n = kxGetNumberOfElements(prhs[0]); i < n; ++i) {
            auto instance = instanceOf(prhs[0], i);
            if (!instance || instance->isDeleted())
                throwClassError("InvalidHandle", cls->getName().str());
        }
        if (ctor) given = nrhs - 1;  // the object under construction is not an argument
    }
    checkCounts(method, nlhs, given);
    method->invoke(nlhs, plhs, nrhs, prhs);
}

kxArray* constructObject(COSClient* client, COSClass* cls, int nrhs, const kxArray** prhs) {
    if (!cls || nrhs < 0 || (nrhs > 0 && !prhs))
        throw std::invalid_argument("constructObject: bad arguments");
    client = orPublic(client);
    COSClassInfo* info = cls->getInfo();
    COSMethodInfo* ctor = cls->getConstructor();
    kxArray* out[1] = {nullptr};

    // A built-in array class has no instances: its "constructor" converts the arguments.
    if (cls->getNamespace() == COSNamespace::getRootNamespace() &&
        internal::isBuiltinArrayClass(cls->getShortName().view())) {
        if (!ctor) throwClassError("UndefinedClass", cls->getName().str());
        ctor->invoke(1, out, nrhs, prhs);
        return out[0];
    }
    if (info->isAbstract() || info->classIsAbstract()) {
        throwClassError("ClassIsAbstract", cls->getName().str());
    }
    if (!client->mayAccess(cls, info->getAccess()) ||
        (ctor && !client->mayAccess(cls, ctor->getMemberAccess()))) {
        throwClassError("ConstructorAccess", cls->getName().str());
    }
    kx::ArrayPtr object(kxCreateObjectScalar(cls->createInstance()));
    if (!ctor) {
        if (nrhs > 0) kxErrTooManyInputs();
        return object.release();
    }
    checkCounts(ctor, 0, nrhs);
    std::vector<const kxArray*> argv{object.get()};
    argv.insert(argv.end(), prhs, prhs + nrhs);
    try {
        ctor->invoke(1, out, static_cast<int>(argv.size()), argv.data());
    } catch (...) {
        kxReleaseArray(out[0]);
        throw;
    }
    return out[0] ? out[0] : object.release();
}

void deleteObject(COSClient* client, const kxArray* object) {
    if (!object || !kxIsObject(object)) throwClassError("NotAnObject", classNameOf(object));
    client = orPublic(client);
    std::vector<std::shared_ptr<COSInstance>> live;
    for (kxSize i = 0, n = kxGetNumberOfElements(object); i < n; ++i) {
        auto instance = instanceOf(object, i);
        if (instance && !instance->isDeleted()) live.push_back(std::move(instance));
    }
    if (live.empty()) return;
    // One class per array: check its rules once, before anything is deleted.
    COSClass* cls = live.front()->getClass();
    if (!cls->getInfo()->isDestructible()) throwClassError("NotDestructible", cls->getName().str());
    COSMethodInfo* deleteMethod = cls->findMethod(internal::makeInterned("delete"));
    if (deleteMethod && !client->mayAccess(cls, deleteMethod->getMemberAccess())) {
        throwClassError("DeleteAccess", cls->getName().str());
    }
    if (!deleteMethod && !cls->isHandleClass())
        throwClassError("DeleteNotHandle", cls->getName().str());
    for (auto& instance : live) {
        if (deleteMethod) {
            kx::ArrayPtr one(kxCreateObjectScalar(instance));
            const kxArray* args[] = {one.get()};
            kxArray* out[1] = {nullptr};
            deleteMethod->invoke(0, out, 1, args);
            kxReleaseArray(out[0]);
        }
        if (cls->isHandleClass()) markInstanceDeleted(*instance);
    }
}

kxArray* getEnumMemberValue(COSClass* enumClass, std::string_view memberName) {
    if (!enumClass) throw std::invalid_argument("getEnumMemberValue: null class");
    auto it = enumClass->getMemberIterator(MemberKind::EnumMember);
    while (it.hasMoreElements()) {
        COSMember* member = it.nextElement();
        if (member->getName().view() == memberName) return cosiToEnum(member)->getValue();
    }
    throwClassError("NoSuchEnumMember", std::string(memberName), enumClass->getName().str());
}

std::string getEnumMemberName(const kxArray* value, kxSize index) {
    auto instance = instanceOf(value, index);
    if (!instance || !instance->getClass()->isEnumeration()) return "";
    const kxArray* underlying = instance->getUnderlyingValue();
    auto it = instance->getClass()->getMemberIterator(MemberKind::EnumMember);
    while (it.hasMoreElements()) {
        COSMember* member = it.nextElement();
        auto memberInstance = instanceOf(cosiToEnum(member)->getValue(), 0);
        if (!memberInstance) continue;
        if (memberInstance == instance) return member->getName().str();
        const kxArray* memberUnderlying = memberInstance->getUnderlyingValue();
        if (underlying && memberUnderlying && !kxIsEmpty(underlying) &&
            !kxIsEmpty(memberUnderlying) &&
            kxGetScalar(underlying) == kxGetScalar(memberUnderlying)) {
            return member->getName().str();
        }
    }
    return "";
}

}  // namespace kcos
