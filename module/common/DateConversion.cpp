// makeDatetime / makeEmptyDatetime over the class-object system's public client.
#include "common/DateConversion.hpp"

#include <array>

#include "kcos/Client.hpp"
#include "kcos/Interned.hpp"

namespace rest::kv::connector {

namespace {

constexpr const char* kDatetimeClass = "datetime";
constexpr std::string_view kDateFormat = "dd-MMM-uuuu";

// Seven arguments: the date, then the three name-value pairs. The argument arrays are
// released once the constructor has returned (or thrown).
kxArray* constructDatetime(kx::ArrayPtr date) {
    const std::array<kx::ArrayPtr, 7> owned{
        std::move(date),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8("InputFormat")),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8(kDateFormat)),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8("Format")),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8(kDateFormat)),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8("Locale")),
        kx::ArrayPtr(kxCreateStringScalarFromUtf8("en_US")),
    };
    std::array<const kxArray*, 7> arguments{};
    for (std::size_t i = 0; i < owned.size(); ++i) {
        arguments[i] = owned[i].get();
    }
    return omConstructObjectWithClient(kDatetimeClass, static_cast<int>(arguments.size()),
                                       arguments.data(), COSGetPublicClient());
}

}  // namespace

kxArray* makeDatetime(std::string_view text) {
    return constructDatetime(kx::ArrayPtr(kxCreateStringScalarFromUtf8(text)));
}

kxArray* makeDatetime(std::u16string_view text) {
    return constructDatetime(kx::ArrayPtr(kxCreateStringScalar(text)));
}

kxArray* makeEmptyDatetime() {
    kxArray* result = nullptr;
    const bool called = omCallMethod(kcos::internal::makeInterned(kDatetimeClass),
                                     kcos::internal::makeInterned("empty"), COSGetPublicClient(), 1,
                                     &result, 0, nullptr, false);
    if (!called) {
        kxReleaseArray(result);
        return nullptr;
    }
    return result;
}

}  // namespace rest::kv::connector
