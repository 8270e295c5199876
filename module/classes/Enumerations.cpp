// The enumeration descriptions of Enumerations.hpp.
#include "classes/Enumerations.hpp"

#include <memory>

#include "kcos/Allocator.hpp"
#include "kcos/Class.hpp"
#include "kcos/Client.hpp"
#include "kcos/Interned.hpp"
#include "kx/kxArray.hpp"

namespace rest::kv::connector {

namespace {
constexpr const char* kUnderlyingClass = "uint32";
}  // namespace

// ---- members ------------------------------------------------------------------------------

template <class Enum>
EnumValueInfoBase<Enum>::EnumValueInfoBase(const char* name, std::uint32_t value,
                                           kcos::COSClient* client, kcos::COSClass* owner)
    : fName(kcos::hostStrdup(name)), fValue(value), fClient(client), fOwner(owner) {}

template <class Enum>
EnumValueInfoBase<Enum>::~EnumValueInfoBase() {
    kxReleaseArray(fCachedValue);
    kcos::hostFree(fName);
}

template <class Enum>
kxArray* EnumValueInfoBase<Enum>::getValue() {
    if (fCachedValue) return fCachedValue;
    kx::ArrayPtr number(kxCreateUnsignedScalar(kxClassID::UInt32, fValue));
    const kxArray* args[] = {number.get()};
    kxArray* member = omConstructObjectWithClient(fOwner->getName().view(), 1, args, fClient);
    // Constructing may have reached this member again; keep the newest value only.
    kxReleaseArray(fCachedValue);
    fCachedValue = member;
    return fCachedValue;
}

// ---- constructor --------------------------------------------------------------------------

template <class Enum>
EnumCtorBase<Enum>::EnumCtorBase(kcos::COSClass* owner) : fOwner(owner) {
    std::unique_ptr<kcos::COSMethodSignature> signature(
        kcos::COSMethodSignature::createMethodSignature());
    signature->addInputType(kUnderlyingClass);
    signature->addOutputType(Enum::kFullName);
    fSignature = signature.release();
}

template <class Enum>
EnumCtorBase<Enum>::~EnumCtorBase() {
    delete fSignature;
}

template <class Enum>
void EnumCtorBase<Enum>::invoke(int, kxArray**, int nrhs, const kxArray** prhs) {
    // prhs[0] is the object under construction; the uint32 class's own constructor, run on
    // it, converts the argument and stores it as the object's value.
    kx::ObjectRef element = kxGetObject(prhs[0], 0);
    const kcos::InternedString methodName = kcos::internal::makeInterned(kUnderlyingClass);
    kcos::COSClass* underlying = kcos::COSClass::getClass(methodName);
    kcos::COSMethodCall call;
    call.name = methodName;
    call.method = underlying ? underlying->findMethod(methodName) : nullptr;
    call.args = nrhs > 1 ? prhs + 1 : nullptr;
    call.nargs = nrhs > 1 ? 1 : 0;
    fOwner->invokeOnInstance(element, call);
}

// ---- class --------------------------------------------------------------------------------

template <class Enum, class ValueInfo, class Ctor>
void EnumClassInfoBase<Enum, ValueInfo, Ctor>::defineClass(kcos::COSClass* cls,
                                                           kcos::COSClient* client) {
    cls->setUnderlyingClass(kcos::internal::makeInterned(kUnderlyingClass), 0, 0, 1);
    for (const EnumMemberSpec& member : Enum::kMembers) {
        cls->addEnumMember(new ValueInfo(member.fName, member.fValue, client, cls));
    }
    cls->addMethod(new Ctor(cls));
}

template class EnumValueInfoBase<StatusEnum>;
template class EnumValueInfoBase<AccessModeEnum>;
template class EnumCtorBase<StatusEnum>;
template class EnumCtorBase<AccessModeEnum>;
template class EnumClassInfoBase<StatusEnum, StatusEnumValueInfo, StatusEnumCtor>;
template class EnumClassInfoBase<AccessModeEnum, AccessModeEnumValueInfo, AccessModeEnumCtor>;

}  // namespace rest::kv::connector
