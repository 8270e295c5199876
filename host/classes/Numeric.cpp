// The built-in classes "double" and "uint32" and the conversions to them.
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "BuiltinMethod.hpp"
#include "Builtins.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Instance.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::host::classes {
namespace {

const char* nameOf(kxClassID id) {
    return id == kxClassID::UInt32 ? "uint32" : "double";
}

[[noreturn]] void notConvertible(const kxArray* value, kxClassID id) {
    korvan::host::throwError("KORVAN:class", "ConversionNotPossible",
                             value ? kxGetClassName(value) : std::string("null"), nameOf(id));
}

// One element as a double, following the conversion rules of the source's class.
double elementValue(const kxArray* value, kxSize i, kxClassID id) {
    if (kxIsObject(value)) {
        auto instance = kcos::instanceOf(value, i);
        const kxArray* underlying = instance ? instance->getUnderlyingValue() : nullptr;
        if (!underlying || kxIsEmpty(underlying)) notConvertible(value, id);
        return kxGetScalar(underlying);
    }
    if (kxIsStringArray(value)) {
        if (id != kxClassID::Double) notConvertible(value, id);
        const auto& text = kxGetStringElement(value, i);
        if (!text) return std::nan("");
        std::string utf8 = kx::utf16ToUtf8(*text);
        char* end = nullptr;
        double parsed = std::strtod(utf8.c_str(), &end);
        return (utf8.empty() || *end != '\0') ? std::nan("") : parsed;
    }
    if (kxIsNumeric(value) || kxIsLogical(value) || kxIsChar(value)) {
        return kxGetElementAsDouble(value, i);
    }
    notConvertible(value, id);
}

std::uint32_t toUInt32(double v) {
    if (std::isnan(v) || v <= 0) return 0;
    if (v >= 4294967295.0) return 4294967295u;
    return static_cast<std::uint32_t>(std::round(v));
}

class NumericClassInfo final : public kcos::COSClassInfo {
  public:
    NumericClassInfo(const char* name, kxClassID id) : fName(name), fClassID(id) {}
    const char* getName() const override { return fName; }
    bool willAllocateData() const override { return false; }

    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        const kxClassID id = fClassID;
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl(fName).noFirstArgDispatch(),
            [id, cls](int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
                if (nrhs == 2 && kxIsObject(prhs[0])) {
                    // Run on an instance: store the converted argument as its value.
                    auto instance = kcos::instanceOf(prhs[0], 0);
                    kx::ArrayPtr converted(convertToNumeric(prhs[1], id));
                    if (!instance || kxGetNumberOfElements(converted.get()) != 1) {
                        korvan::host::throwError("KORVAN:class", "InvalidUnderlyingValue",
                                                 cls->getName().str());
                    }
                    instance->setUnderlyingValue(std::move(converted));
                    return;
                }
                kxCheckArgumentCounts(nlhs, 1, nrhs, 1, 1);
                plhs[0] = convertToNumeric(prhs[0], id);
            }));
    }

  private:
    const char* fName;  // a literal
    kxClassID fClassID;
};

}  // namespace

kxArray* convertToNumeric(const kxArray* value, kxClassID classID) {
    if (!value) notConvertible(value, classID);
    kx::ArrayPtr out(
        kxCreateNumericArray(kxGetNumberOfDimensions(value), kxGetDimensions(value), classID));
    const kxSize n = kxGetNumberOfElements(value);
    if (classID == kxClassID::UInt32) {
        auto* data = static_cast<std::uint32_t*>(kxGetData(out.get()));
        for (kxSize i = 0; i < n; ++i) data[i] = toUInt32(elementValue(value, i, classID));
    } else {
        double* data = kxGetDoubles(out.get());
        for (kxSize i = 0; i < n; ++i) data[i] = elementValue(value, i, classID);
    }
    return out.release();
}

kcos::COSClassInfo* makeNumericClassInfo(const char* name, kxClassID classID) {
    return new NumericClassInfo(name, classID);
}

}  // namespace korvan::host::classes
