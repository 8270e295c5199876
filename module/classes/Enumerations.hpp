// The enumerations korvan.engine.rest.Status and korvan.engine.rest.ClientAccessMode as the host
// class-object system sees them: per enumeration a class description (…EnumClassInfo), one
// member description per member (…EnumValueInfo) and a constructor (…EnumCtor).
//
// Both enumerations have the underlying class uint32 and members whose values equal their
// positions (0, 1): enumMemberForValue (Registration.hpp) looks members up by position.
//
// Ownership: all descriptions are allocated with the host allocator (their bases' operator
// new) and belong to the host once added (class to the namespace, members and constructor to
// the class). A member description owns its cached host value and its name; a constructor
// owns its signature.
// Threads: the host calls them on the interpreter thread; the cache of getValue has no lock.
#pragma once

#include <cstdint>

#include "kcos/ClassInfo.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/MethodInfo.hpp"

namespace kcos {
class COSClass;
class COSClient;
}  // namespace kcos

namespace rest::kv::connector {

/// One member of an enumeration table.
struct EnumMemberSpec {
    const char* fName;
    std::uint32_t fValue;
};

/// What tells the two enumerations apart.
struct StatusEnum {
    static constexpr const char* kShortName = "Status";
    static constexpr const char* kFullName = "korvan.engine.rest.Status";
    static constexpr const char* kDescription = "Status of Service or Connector";
    static constexpr EnumMemberSpec kMembers[] = {{"notrunning", 0}, {"running", 1}};
};

struct AccessModeEnum {
    static constexpr const char* kShortName = "ClientAccessMode";
    static constexpr const char* kFullName = "korvan.engine.rest.ClientAccessMode";
    static constexpr const char* kDescription = "Access Mode for Clients - remote or local";
    static constexpr EnumMemberSpec kMembers[] = {{"local", 0}, {"remote", 1}};
};

/// A member of an enumeration. getValue makes the member's host value on first request (an
/// object of the enumeration built with the class's own client) and keeps it; callers borrow
/// it and never release it.
template <class Enum>
class EnumValueInfoBase : public kcos::COSEnumInfo {
  public:
    EnumValueInfoBase(const char* name, std::uint32_t value, kcos::COSClient* client,
                      kcos::COSClass* owner);
    /// Releases the cached value (reference-counted) and frees the name.
    ~EnumValueInfoBase() override;

    const char* getName() const override { return fName; }
    kxArray* getValue() override;

  private:
    char* fName = nullptr;  // host block
    std::uint32_t fValue = 0;
    kxArray* fCachedValue = nullptr;  // made on first getValue
    kcos::COSClient* fClient = nullptr;
    kcos::COSClass* fOwner = nullptr;
};

/// The enumeration's constructor: one uint32 input, one output of the enumeration. invoke
/// has the uint32 class's own constructor store the value in the object under construction.
template <class Enum>
class EnumCtorBase : public kcos::COSMethodInfo {
  public:
    /// Creates the signature; throws the host's errors of addInputType / addOutputType.
    explicit EnumCtorBase(kcos::COSClass* owner);
    ~EnumCtorBase() override;

    const char* getName() const override { return Enum::kShortName; }
    const kcos::COSMethodSignature* getMethodSignature() const override { return fSignature; }
    void invoke(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) override;
    bool isFirstArgDispatch() const override { return false; }

  private:
    kcos::COSClass* fOwner = nullptr;
    kcos::COSMethodSignature* fSignature = nullptr;  // owned
};

/// The enumeration class: a value class with no native data, underlying class uint32.
template <class Enum, class ValueInfo, class Ctor>
class EnumClassInfoBase : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return Enum::kShortName; }
    const char* getDescription() const override { return Enum::kDescription; }
    void defineClass(kcos::COSClass* cls, kcos::COSClient* client) override;
    void* createInstanceData(kcos::COSClass*) override { return nullptr; }
    void destroyInstanceData(void*) override {}
    int getClassOption() const override { return 0; }
    int getClassKind() const override { return 0; }
    bool isEnumeration() const override { return true; }
    bool isConstructedOnLoad() const override { return false; }
};

class StatusEnumValueInfo final : public EnumValueInfoBase<StatusEnum> {
  public:
    using EnumValueInfoBase::EnumValueInfoBase;
};
class AccessModeEnumValueInfo final : public EnumValueInfoBase<AccessModeEnum> {
  public:
    using EnumValueInfoBase::EnumValueInfoBase;
};

class StatusEnumCtor final : public EnumCtorBase<StatusEnum> {
  public:
    using EnumCtorBase::EnumCtorBase;
};
class AccessModeEnumCtor final : public EnumCtorBase<AccessModeEnum> {
  public:
    using EnumCtorBase::EnumCtorBase;
};

class StatusEnumClassInfo final
    : public EnumClassInfoBase<StatusEnum, StatusEnumValueInfo, StatusEnumCtor> {};
class AccessModeEnumClassInfo final
    : public EnumClassInfoBase<AccessModeEnum, AccessModeEnumValueInfo, AccessModeEnumCtor> {};

}  // namespace rest::kv::connector
