#include "BuiltinMethod.hpp"

#include "kcos/Allocator.hpp"

namespace korvan::host::classes {

BuiltinMethodInfo::BuiltinMethodInfo(const MethodDecl& decl, MethodBody body)
    : fStatic(decl.isStatic), fFirstArgDispatch(decl.firstArgDispatch), fBody(std::move(body)) {
    try {
        fName = kcos::hostStrdup(decl.name);
        fSignature = kcos::COSMethodSignature::createMethodSignature();
        for (const char* label : decl.inputs) fSignature->addInputType(label);
        for (const char* label : decl.outputs) fSignature->addOutputType(label);
        fSignature->setAcceptsFurtherArguments(decl.furtherArguments);
    } catch (...) {
        delete fSignature;
        kcos::hostFree(fName);
        throw;
    }
}

BuiltinMethodInfo::~BuiltinMethodInfo() {
    delete fSignature;
    kcos::hostFree(fName);
}

}  // namespace korvan::host::classes
