// The built-in class "duration" (a length of time, kept in days) and the function days.
//
//   days(n)   numbers to durations of n days (same shape); days(d) durations to numbers
//   d.days()  the same as days(d);  string(d)  "7 days", "1 day", "1.5 days"
#include <charconv>
#include <cmath>

#include "BuiltinMethod.hpp"
#include "Builtins.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Instance.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::host::classes {
namespace {

struct DurationData {
    double fDays = 0;
};

kcos::COSClass* durationClass() {
    static kcos::COSClass* cls = kcos::COSClass::getClass(kcos::internal::makeInterned("duration"));
    return cls;
}

double daysOf(const kxArray* durations, kxSize i) {
    auto* data = static_cast<DurationData*>(kcos::instanceDataOf(durations, i, durationClass()));
    return data ? data->fDays : std::nan("");
}

kxArray* daysArray(const kxArray* durations) {
    kx::ArrayPtr out(kxCreateNumericArray(kxGetNumberOfDimensions(durations),
                                          kxGetDimensions(durations), kxClassID::Double));
    double* values = kxGetDoubles(out.get());
    for (kxSize i = 0, n = kxGetNumberOfElements(durations); i < n; ++i)
        values[i] = daysOf(durations, i);
    return out.release();
}

std::string textOf(double days) {
    if (std::isnan(days)) return "NaN days";
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, days);
    std::string number(buffer, result.ptr);
    return number + (days == 1 ? " day" : " days");
}

class DurationClassInfo final : public kcos::COSClassInfo {
  public:
    const char* getName() const override { return "duration"; }
    const char* getDescription() const override { return "Lengths of time"; }
    void* createInstanceData(kcos::COSClass*) override { return new DurationData; }
    void destroyInstanceData(void* data) override { delete static_cast<DurationData*>(data); }

    void defineClass(kcos::COSClass* cls, kcos::COSClient*) override {
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl("days").in({"duration"}).out({"double"}),
            [](int, kxArray** plhs, int, const kxArray** prhs) { plhs[0] = daysArray(prhs[0]); }));
        cls->addMethod(new BuiltinMethodInfo(
            MethodDecl("string").in({"duration"}).out({"string"}),
            [](int, kxArray** plhs, int, const kxArray** prhs) {
                kx::ArrayPtr out(kxCreateStringArray(kxGetNumberOfDimensions(prhs[0]),
                                                     kxGetDimensions(prhs[0])));
                for (kxSize i = 0, n = kxGetNumberOfElements(prhs[0]); i < n; ++i) {
                    kxSetStringElement(out.get(), i, kx::utf8ToUtf16(textOf(daysOf(prhs[0], i))));
                }
                plhs[0] = out.release();
            }));
    }
};

}  // namespace

kcos::COSClassInfo* makeDurationClassInfo() {
    return new DurationClassInfo;
}

void daysFunction(int nlhs, kxArray** plhs, int nrhs, const kxArray** prhs) {
    kxCheckArgumentCounts(nlhs, 1, nrhs, 1, 1);
    const kxArray* value = prhs[0];
    if (kxIsClass(value, "duration")) {
        plhs[0] = daysArray(value);
        return;
    }
    if (!(kxIsNumeric(value) || kxIsLogical(value)) || kxIsComplex(value)) {
        korvan::host::throwError("KORVAN:datetime", "NumericExpected", "days");
    }
    const kxSize n = kxGetNumberOfElements(value);
    kx::ArrayPtr out(kxCreateObjectMatrix(n, 1, "duration"));
    for (kxSize i = 0; i < n; ++i) {
        auto instance = durationClass()->createInstance();
        static_cast<DurationData*>(instance->getInstanceData(durationClass()))->fDays =
            kxGetElementAsDouble(value, i);
        kxSetObject(out.get(), i, instance);
    }
    kxSetDimensions(out.get(), kxGetNumberOfDimensions(value), kxGetDimensions(value));
    plhs[0] = out.release();
}

}  // namespace korvan::host::classes
