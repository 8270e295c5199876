// Method descriptions for the host's own built-in classes: a name, flags, a signature made
// from type labels, and a callable body. Allocated with the host allocator like any method
// description (COSMethodInfo::operator new) and owned by the class they are added to.
#pragma once

#include <functional>
#include <vector>

#include "kcos/MethodInfo.hpp"

namespace korvan::host::classes {

using MethodBody = std::function<void(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs)>;

/// What a built-in method declares: MethodDecl("string").in({"datetime"}).out({"string"}).
struct MethodDecl {
    explicit MethodDecl(const char* methodName) : name(methodName) {}
    MethodDecl& staticMethod() {
        isStatic = true;
        return *this;
    }
    MethodDecl& noFirstArgDispatch() {
        firstArgDispatch = false;
        return *this;
    }
    MethodDecl& in(std::vector<const char*> labels) {
        inputs = std::move(labels);
        return *this;
    }
    MethodDecl& out(std::vector<const char*> labels) {
        outputs = std::move(labels);
        return *this;
    }
    MethodDecl& further() {
        furtherArguments = true;
        return *this;
    }

    const char* name;
    bool isStatic = false;
    bool firstArgDispatch = true;
    std::vector<const char*> inputs;   // type labels
    std::vector<const char*> outputs;  // type labels
    bool furtherArguments = false;
};

class BuiltinMethodInfo final : public kcos::COSMethodInfo {
  public:
    BuiltinMethodInfo(const MethodDecl& decl, MethodBody body);
    ~BuiltinMethodInfo() override;

    const char* getName() const override { return fName; }
    const kcos::COSMethodSignature* getMethodSignature() const override { return fSignature; }
    void invoke(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) override {
        fBody(nlhs, plhs, nrhs, prhs);
    }
    bool isFirstArgDispatch() const override { return fFirstArgDispatch; }
    bool isStatic() const override { return fStatic; }

  private:
    char* fName = nullptr;  // host block
    kcos::COSMethodSignature* fSignature = nullptr;
    bool fStatic;
    bool fFirstArgDispatch;
    MethodBody fBody;
};

}  // namespace korvan::host::classes
