#include "BuiltinMethod.hpp"

#include "kcos/Allocator.hpp"

namespace korvan::host::classes {

BuiltinMethodInfo::BuiltinMethodInfo(const MethodSpec& spec, MethodBody body)
    : fStatic(spec.isStatic), fFirstArgDispatch(spec.firstArgDispatch), fBody(std::move(body)) {
    try {
        fName = kcos::hostStrdup(spec.name);
        fSignature = kcos::COSMethodSignature::createMethodSignature();
        for (const char* label : spec.inputs) fSignature->addInputType(label);
        for (const char* label : spec.outputs) fSignature->addOutputType(label);
        fSignature->setAcceptsFurtherArguments(spec.furtherArguments);
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
