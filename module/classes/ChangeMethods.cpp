// The invoke operations of changeToken and changeCertificate: argument parsing and validation,
// then one RestConnector call. Nothing reaches the connector until every check of the chosen
// argument form has passed.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <locale>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "classes/ConnectorMethods.hpp"
#include "common/Checks.hpp"
#include "common/ErrorCatalogue.hpp"
#include "connector/RestfcnConnector.hpp"
#include "fl/filesystem.hpp"
#include "fl/i18n.hpp"
#include "kcos/Client.hpp"
#include "kcos/Interned.hpp"
#include "korvan/host/Errors.hpp"
#include "kx/kxArray.hpp"
#include "quillon/String.hpp"

namespace rest::kv::connector {

namespace {

namespace svc = KORVAN::restFcnService;

constexpr std::int32_t kDefaultTokenDays = 30;
// Every caller of the string-argument check passes this shape flag (a character row vector).
constexpr int kRowVectorText = 1;

// The key names changeCertificate accepts, lower case; built when the library is loaded.
const std::set<std::string> kAcceptedKeyNames{"privatekey", "certificate"};

// Finite and equal to its own truncation.
bool isWholeNumber(double value) {
    return std::fabs(value) <= DBL_MAX && value == std::trunc(value);
}

// Truncation to 32 bits as the processor does it: a value out of range becomes the minimum
// 32-bit value, which the range check then rejects.
std::int32_t truncateToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
    return static_cast<std::int32_t>(value);
}

// The number of days that a "duration" scalar stands for, through its method "days".
std::int32_t durationDays(const kxArray* duration) {
    kxArray* out[1] = {nullptr};
    const kxArray* args[] = {duration};
    const bool called =
        omCallMethod(kcos::internal::makeInterned("duration"), kcos::internal::makeInterned("days"),
                     COSGetPublicClient(), 1, out, 1, args, false);
    kx::ArrayPtr result(out[0]);
    if (called && result && !kxIsEmpty(result.get()) &&
        (kxIsNumeric(result.get()) || kxIsLogical(result.get()))) {
        const double days = kxGetScalar(result.get());
        if (isWholeNumber(days)) return truncateToInt32(days);
    }
    raise<svc::InvalidTokenDaysType>();
}

// The day argument of changeToken: a real whole double scalar or a "duration" scalar.
std::int32_t tokenDays(const kxArray* value) {
    if (kxIsDouble(value) && kxGetNumberOfElements(value) == 1 && kxIsRealScalar(value)) {
        const double days = kxGetDoubles(value)[0];
        if (isWholeNumber(days)) return truncateToInt32(days);
        raise<svc::InvalidTokenDaysType>();
    }
    if (kxIsClass(value, "duration") && kxGetNumberOfElements(value) == 1) {
        return durationDays(value);
    }
    raise<svc::InvalidTokenDaysType>();
}

bool isVector(const kxArray* value) {
    return kxGetNumberOfDimensions(value) == 2 && (kxGetM(value) == 1 || kxGetN(value) == 1);
}

// The address list of changeCertificate: a string array that is a vector, no missing
// elements. The addresses themselves are the connector's to check.
std::vector<std::string> ipAddresses(const kxArray* value) {
    if (!Quillon::String::isString(value) || !isVector(value)) raise<svc::InvalidIPAddresses>();
    std::vector<std::string> addresses;
    const kxSize count = kxGetNumberOfElements(value);
    addresses.reserve(count);
    for (kxSize i = 0; i < count; ++i) {
        const auto& element = kxGetStringElement(value, i);
        if (!element) raise<KORVAN::string::MissingNotSupported>();
        addresses.push_back(fl::i18n::to_string(*element));
    }
    return addresses;
}

bool isScalarText(const kxArray* value) {
    return Quillon::String::isNonMissingScalarText(value,
                                                   Quillon::String::CharTolerance::RowVector);
}

// A key name as ASCII, lower-cased with the global locale.
std::string lowerCaseKeyName(const kxArray* name) {
    std::string text = fl::i18n::codecvt_ustring_to_ascii(getStringArgument(name, kRowVectorText));
    const std::locale locale;
    for (char& c : text) c = std::tolower(c, locale);
    return text;
}

}  // namespace

void ChangeTokenMethodInfo::invoke(int nlhs, kxArray**, int nrhs, const kxArray** prhs) {
    if (nlhs > 0) kxErrTooManyOutputs();
    if (nrhs > 2) kxErrTooManyInputs();
    if (nrhs < 1) kxErrNotEnoughInputs();
    RestConnector* connector = connectorOf(prhs[0]);
    if (!connector) return;
    // A running connector is refused before the arguments are looked at.
    connector->ensureNotRunning();
    const std::int32_t days = nrhs == 2 ? tokenDays(prhs[1]) : kDefaultTokenDays;
    // One unsigned comparison rejects 0, negative counts and more than 365 days.
    if (static_cast<std::uint32_t>(days) - 1u > 364u) raise<svc::InvalidTokenDays>();
    connector->changeToken(days);
}

void ChangeCertificateMethodInfo::invoke(int nlhs, kxArray**, int nrhs, const kxArray** prhs) {
    if (nlhs > 0) kxErrTooManyOutputs();
    if (nrhs > 5) kxErrTooManyInputs();
    if (nrhs < 1) kxErrNotEnoughInputs();
    RestConnector* connector = connectorOf(prhs[0]);
    if (!connector) return;
    // Unlike changeToken, the arguments (file existence included) are checked before the
    // connector's state: RestConnector::changeCertificate refuses a running connector.
    switch (nrhs) {
        case 1:
            connector->changeCertificate({}, {}, {});
            return;
        case 2:
            connector->changeCertificate({}, {}, ipAddresses(prhs[1]));
            return;
        case 3:
        case 4:
            raise<svc::KeysException>();
        default:
            break;
    }
    std::vector<std::string> names;
    std::vector<std::u16string> paths;
    for (int i = 1; i + 1 < nrhs; i += 2) {
        if (!isScalarText(prhs[i])) raise<svc::InvalidNameValuePair>();
        std::string name = lowerCaseKeyName(prhs[i]);
        if (kAcceptedKeyNames.count(name) == 0) raise<svc::InvalidKeyName>();
        if (!isScalarText(prhs[i + 1])) raise<svc::InvalidNameValuePair>();
        std::u16string path = getStringArgument(prhs[i + 1], kRowVectorText);
        if (!fl::filesystem::exists(path)) raise<svc::InvalidFileLocation>(path);
        names.push_back(std::move(name));
        paths.push_back(std::move(path));
    }
    // Only the first name decides which path is the private key: two pairs with the same name
    // are accepted as they are.
    if (names[0] == "privatekey") {
        connector->changeCertificate(std::move(paths[0]), std::move(paths[1]), {});
    } else {
        connector->changeCertificate(std::move(paths[1]), std::move(paths[0]), {});
    }
}

}  // namespace rest::kv::connector
