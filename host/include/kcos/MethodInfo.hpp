// Method descriptions and method signatures.
//
// COSMethodInfo describes one method of a class: its name, access, signature and the native
// `invoke`. The host calls invoke(nlhs, plhs, nrhs, prhs) on the interpreter thread:
//  - an ordinary method receives the object as prhs[0], then the arguments;
//  - a constructor (the method named like the class) receives the object under construction
//    as prhs[0], then the constructor's arguments; it may leave plhs[0] null (the object is
//    the result) or set it to the value to return instead;
//  - a static method receives only the arguments.
// plhs has room for max(nlhs, 1) values; the callee creates them and the caller owns them.
// Errors are thrown (identifier-carrying host errors) and reach user code unchanged.
//
// COSMethodSignature lists the declared input and output types and the "further arguments"
// mark. The host checks argument counts against it before invoke: the declared inputs are
// required; without the further-arguments mark they are also the most that may be given;
// nlhs may not exceed the declared outputs. An ordinary method's inputs include the object as
// the first input; a constructor's inputs are the arguments after the object under
// construction; a static method's inputs are its arguments. A method without a signature
// (getMethodSignature answers null) is not checked.
//
// Ownership: both are allocated with the host allocator (their operator new raises the host's
// out-of-memory error). A method description belongs to the class once added with
// COSClass::addMethod; a signature belongs to whoever created it (normally the description,
// which deletes it in its destructor).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kcos/Interned.hpp"
#include "kcos/Types.hpp"
#include "korvan/host/Export.hpp"

struct kxArray;

namespace kcos {

class KORVAN_HOST_EXPORT COSMethodSignature {
  public:
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    /// A new empty signature (no inputs, no outputs, no further arguments); delete it when
    /// done.
    static COSMethodSignature* createMethodSignature();

    COSMethodSignature(const COSMethodSignature&) = delete;
    COSMethodSignature& operator=(const COSMethodSignature&) = delete;
    virtual ~COSMethodSignature();

    /// Appends a declared input / output by type label. Throws the host error
    /// KORVAN:class:UnknownType when the type repository does not know the label.
    void addInputType(const char* typeLabel);
    void addOutputType(const char* typeLabel);
    /// Marks the signature as accepting further arguments after the declared inputs.
    void setAcceptsFurtherArguments(bool accepts = true) noexcept { fFurther = accepts; }

    const std::vector<const COSType*>& getInputTypes() const noexcept { return fInputs; }
    const std::vector<const COSType*>& getOutputTypes() const noexcept { return fOutputs; }
    bool acceptsFurtherArguments() const noexcept { return fFurther; }

  protected:
    COSMethodSignature() = default;

  private:
    std::vector<const COSType*> fInputs;
    std::vector<const COSType*> fOutputs;
    bool fFurther = false;
};

class KORVAN_HOST_EXPORT COSMethodInfo {
  public:
    /// The host's method-description allocator: a zero-filled host block; raises the host's
    /// out-of-memory error on failure.
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    COSMethodInfo() = default;
    COSMethodInfo(const COSMethodInfo&) = delete;
    COSMethodInfo& operator=(const COSMethodInfo&) = delete;

    virtual ~COSMethodInfo();
    virtual const char* getName() const = 0;
    virtual const char* getDescription() const;                    // ""
    virtual bool isLookupScope() const;                            // false
    virtual const char* getDetailedDescription() const;            // ""
    virtual MemberAccess getMemberAccess() const;                  // Public
    virtual int getExtendedAccess() const;                         // 0
    virtual const COSMethodSignature* getMethodSignature() const;  // null: not checked
    virtual void invoke(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) = 0;
    /// Whether the function form m(obj, ...) finds this method (constructors never).
    virtual bool isFirstArgDispatch() const;  // true
    virtual bool isStatic() const;            // false
    virtual bool isAbstract() const;          // false: an abstract method cannot be called
    virtual bool isSealed() const;            // false
    virtual bool isVisible() const;           // true: listed in method listings
    virtual bool isDestructible() const;      // true
    virtual bool isLocked() const;            // false
    virtual bool isExplicit() const;          // false
    virtual bool doesMethodOverrideAllSignatures() const;  // false
};

/// One request to run a method on an instance (COSClass::invokeOnInstance): the method's
/// name, the method, and the arguments that follow the object.
struct COSMethodCall {
    InternedString name;
    COSMethodInfo* method = nullptr;
    const kxArray** args = nullptr;
    int nargs = 0;
};

}  // namespace kcos
