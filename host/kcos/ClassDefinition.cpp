// Defining a class: the add operations that a description's defineClass calls.
#include <stdexcept>

#include "ClassErrors.hpp"
#include "kcos/Allocator.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Client.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/Instance.hpp"

namespace kcos {
namespace {

// A method bound to a plain function of the instance data (COSClass::addMethod).
class PlainMethodInfo final : public COSMethodInfo {
  public:
    PlainMethodInfo(const char* name, MemberAccess access, COSClass* owner,
                    std::function<void(void*)> function)
        : fName(hostStrdup(name)), fAccess(access), fOwner(owner), fFunction(std::move(function)) {
        try {
            fSignature = COSMethodSignature::createMethodSignature();
            fSignature->addInputType(owner->getName().c_str());  // the object
        } catch (...) {
            delete fSignature;
            hostFree(fName);
            throw;
        }
    }
    ~PlainMethodInfo() override {
        delete fSignature;
        hostFree(fName);
    }

    const char* getName() const override { return fName; }
    MemberAccess getMemberAccess() const override { return fAccess; }
    const COSMethodSignature* getMethodSignature() const override { return fSignature; }
    void invoke(int, kxArray**, int nrhs, const kxArray** prhs) override {
        fFunction(nrhs > 0 ? instanceDataOf(prhs[0], 0, fOwner) : nullptr);
    }

  private:
    char* fName;
    MemberAccess fAccess;
    COSClass* fOwner;
    std::function<void(void*)> fFunction;
    COSMethodSignature* fSignature = nullptr;
};

}  // namespace

COSClass::COSClass(COSClassInfo* info, COSNamespace* ns, InternedString shortName,
                   InternedString fullName)
    : fInfo(info), fNamespace(ns), fShortName(shortName), fFullName(fullName) {
    try {
        fClient = std::make_unique<COSClient>(COSClient::Kind::ClassScope, this);
    } catch (...) {
        delete info;
        throw;
    }
}

COSClass::~COSClass() {
    fMembers.clear();  // members (and their descriptions) go before the class description
    delete fInfo;
}

void COSClass::ensureDefined() {
    if (fState.load() == State::Defined) return;
    std::lock_guard lock(fDefineLock);
    // Defined meanwhile, or being defined further up this thread's stack.
    if (fState.load() != State::Undefined) return;
    fState = State::Defining;
    try {
        fInfo->defineClass(this, fClient.get());
    } catch (...) {
        // Forget the partial definition; the next look-up tries again.
        std::vector<std::unique_ptr<COSMember>> discarded;
        {
            std::unique_lock members(fMembersLock);
            discarded.swap(fMembers);
            fUnderlying = InternedString();
        }
        fState = State::Undefined;
        throw;
    }
    fState = State::Defined;
}

void COSClass::addMember(std::unique_ptr<COSMember> member) {
    std::unique_lock lock(fMembersLock);
    if (member->getKind() != MemberKind::Method) {
        for (const auto& m : fMembers) {
            if (m->getKind() == member->getKind() && m->getName() == member->getName()) {
                internal::throwClassError("NameExists", member->getName().str(), fFullName.str());
            }
        }
    }
    fMembers.push_back(std::move(member));
}

void COSClass::addPropertyBinding(const char* name, const COSType* type, MemberAccess getAccess,
                                  MemberAccess setAccess, std::uint32_t attributes,
                                  const char* description, PropertyBinding binding) {
    if (!name || !*name) throw std::invalid_argument("addProperty: a property needs a name");
    if (!type) throwPropertyAddedWithNonexistingTypeError(name, "");
    addMember(std::make_unique<COSProperty>(internal::makeInterned(name), this, type, getAccess,
                                            setAccess, attributes, description ? description : "",
                                            std::move(binding)));
}

void COSClass::addMethod(const char* name, MemberAccess access, int namedInputs, int outputs,
                         std::function<void(void*)> function) {
    if (!name || !*name || !function) {
        throw std::invalid_argument("addMethod: a method needs a name and a function");
    }
    if (namedInputs != 0 || outputs != 0) {
        throw std::invalid_argument(
            "addMethod: a plain-function method takes no arguments and "
            "gives no results");
    }
    addMethod(new PlainMethodInfo(name, access, this, std::move(function)));
}

void COSClass::addMethod(COSMethodInfo* info) {
    if (!info) throw std::invalid_argument("addMethod: null method description");
    std::unique_ptr<COSMember> member;
    try {
        member = std::make_unique<COSMethod>(info, this);
    } catch (...) {
        delete info;
        throw;
    }
    addMember(std::move(member));
}

void COSClass::addEnumMember(COSEnumInfo* info) {
    if (!info) throw std::invalid_argument("addEnumMember: null member description");
    std::unique_ptr<COSMember> member;
    try {
        member = std::make_unique<COSEnumMember>(info, this);
    } catch (...) {
        delete info;
        throw;
    }
    addMember(std::move(member));
}

void COSClass::setUnderlyingClass(InternedString className, int implicitConversion, int arithmetic,
                                  int storedPerInstance) {
    std::unique_lock lock(fMembersLock);
    fUnderlying = className;
    fUnderlyingFlags[0] = implicitConversion;
    fUnderlyingFlags[1] = arithmetic;
    fUnderlyingFlags[2] = storedPerInstance;
}

void COSClass::throwPropertyAddedWithNonexistingTypeError(const char* propertyName,
                                                          const char* typeLabel) const {
    internal::throwClassError("PropertyTypeNotFound", propertyName, fFullName.str(), typeLabel);
}

}  // namespace kcos
