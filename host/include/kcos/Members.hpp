// The members of a class as the host keeps them, and iteration over them.
//
// A class holds its members in definition order: properties (COSProperty), methods
// (COSMethod, wrapping a COSMethodInfo) and enumeration members (COSEnumMember, wrapping a
// COSEnumInfo). A COSIterator walks a snapshot of them; its elements are COSMember pointers,
// which cosiToEnum / cosiToMethod / cosiToProperty turn into the member of that kind (or null
// for a member of another kind).
//
// Ownership: members belong to their class; COSMethod and COSEnumMember own (and delete) the
// description they wrap. Member pointers stay valid as long as the class exists (classes are
// not removed while the process runs).
// Threads: members are immutable after definition; a COSIterator is used by one thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kcos/Interned.hpp"
#include "kcos/Property.hpp"
#include "kcos/Types.hpp"
#include "korvan/host/Export.hpp"

struct kxArray;

namespace kcos {

class COSClass;
class COSEnumInfo;
class COSMethodInfo;

enum class MemberKind { Property, Method, EnumMember };

class KORVAN_HOST_EXPORT COSMember {
  public:
    COSMember(MemberKind kind, InternedString name, COSClass* owner)
        : fKind(kind), fName(name), fOwner(owner) {}
    COSMember(const COSMember&) = delete;
    COSMember& operator=(const COSMember&) = delete;
    virtual ~COSMember();

    MemberKind getKind() const noexcept { return fKind; }
    InternedString getName() const noexcept { return fName; }
    COSClass* getOwner() const noexcept { return fOwner; }

  private:
    const MemberKind fKind;
    const InternedString fName;
    COSClass* const fOwner;
};

class KORVAN_HOST_EXPORT COSProperty final : public COSMember {
  public:
    COSProperty(InternedString name, COSClass* owner, const COSType* type, MemberAccess getAccess,
                MemberAccess setAccess, std::uint32_t attributes, std::string description,
                PropertyBinding binding);

    const COSType* getType() const noexcept { return fType; }
    MemberAccess getGetAccess() const noexcept { return fGetAccess; }
    MemberAccess getSetAccess() const noexcept { return fSetAccess; }
    std::uint32_t getAttributes() const noexcept { return fAttributes; }
    const std::string& getDescription() const noexcept { return fDescription; }
    PropertyBinding::ValueKind getValueKind() const noexcept { return fBinding.kind; }
    /// Whether the property can be written at all (writeValue raises PropertyNotSettable
    /// otherwise).
    bool hasSetter() const noexcept {
        return static_cast<bool>(fBinding.setDouble) || static_cast<bool>(fBinding.setArray);
    }

    // The sixteen queries of the attribute word (Property.hpp lists the bits).
    bool isAbstract() const noexcept { return has(attr::kAbstract); }
    bool isInitAllowed() const noexcept { return has(attr::kInitAllowed); }
    bool isDefaultAllowed() const noexcept { return has(attr::kDefaultAllowed); }
    bool isResetAllowed() const noexcept { return has(attr::kResetAllowed); }
    bool isSealed() const noexcept { return has(attr::kSealed); }
    bool isTransient() const noexcept { return has(attr::kTransient); }
    bool isCopyAllowed() const noexcept { return has(attr::kCopyAllowed); }
    bool isListenerGetAllowed() const noexcept { return has(attr::kListenerGetAllowed); }
    bool isListenerSetAllowed() const noexcept { return has(attr::kListenerSetAllowed); }
    bool isInspectAllowed() const noexcept { return has(attr::kInspectAllowed); }
    bool isAbortSet() const noexcept { return has(attr::kAbortSet); }
    bool isVisible() const noexcept { return has(attr::kVisible); }
    bool isStatic() const noexcept { return has(attr::kStatic); }
    bool isDependent() const noexcept { return has(attr::kDependent); }
    /// False when bit 14 is set, without asking the type; otherwise the type's answer.
    bool canContainInterfaces() const noexcept {
        return !has(attr::kNoInterfaces) && fType != nullptr && fType->canContainInterfaces();
    }
    bool isWarnOnCopyError() const noexcept { return has(attr::kWarnOnCopyError); }

    /// Reads the value through the getter with the instance data `data` (no access checks).
    /// The result is a new array the caller owns: a double scalar for the native-double
    /// variant; for the host-array variant a copy of what the getter returned (the getter's
    /// array is then given to `release`, if any). A null array from the getter reads as the
    /// empty double array.
    kxArray* readValue(void* data) const;
    /// Writes through the setter (no access checks). The native-double variant needs a real
    /// numeric or logical scalar (else KORVAN:class:InvalidPropertyValue); the host-array
    /// variant passes `value` unchanged. A property without setter raises
    /// KORVAN:class:PropertyNotSettable.
    void writeValue(void* data, const kxArray* value) const;

  private:
    bool has(std::uint32_t bit) const noexcept { return (fAttributes & bit) != 0; }

    const COSType* const fType;
    const MemberAccess fGetAccess;
    const MemberAccess fSetAccess;
    const std::uint32_t fAttributes;
    const std::string fDescription;
    const PropertyBinding fBinding;
};

class KORVAN_HOST_EXPORT COSMethod final : public COSMember {
  public:
    /// Takes ownership of `info`.
    COSMethod(COSMethodInfo* info, COSClass* owner);
    ~COSMethod() override;
    COSMethodInfo* getInfo() const noexcept { return fInfo; }

  private:
    COSMethodInfo* const fInfo;
};

class KORVAN_HOST_EXPORT COSEnumMember final : public COSMember {
  public:
    /// Takes ownership of `info`.
    COSEnumMember(COSEnumInfo* info, COSClass* owner);
    ~COSEnumMember() override;
    COSEnumInfo* getInfo() const noexcept { return fInfo; }

  private:
    COSEnumInfo* const fInfo;
};

/// Walks members in definition order.
class COSIterator {
  public:
    explicit COSIterator(std::vector<COSMember*> members) : fMembers(std::move(members)) {}

    bool hasMoreElements() const noexcept { return fNext < fMembers.size(); }
    /// The next member, or null when there is none.
    COSMember* nextElement() noexcept {
        return fNext < fMembers.size() ? fMembers[fNext++] : nullptr;
    }

  private:
    std::vector<COSMember*> fMembers;
    std::size_t fNext = 0;
};

/// The enumeration-member description of an iterator element, or null for another kind.
KORVAN_HOST_EXPORT COSEnumInfo* cosiToEnum(const COSMember* element) noexcept;
/// The method description of an iterator element, or null for another kind.
KORVAN_HOST_EXPORT COSMethodInfo* cosiToMethod(const COSMember* element) noexcept;
/// The property of an iterator element, or null for another kind.
KORVAN_HOST_EXPORT const COSProperty* cosiToProperty(const COSMember* element) noexcept;

}  // namespace kcos
