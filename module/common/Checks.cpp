// Presence checks and the text-argument check.
#include "common/Checks.hpp"

#include "common/ErrorCatalogue.hpp"
#include "connector/RestfcnConnector.hpp"
#include "properties/UpdateFlipClientHolder.hpp"
#include "quillon/String.hpp"

namespace rest::kv::connector {

std::shared_ptr<connectorclient::RestFcnConnectorClient> requireConnectorClient() {
    auto client = RestConnectorSingleton::instance().getClient();
    if (!client) {
        raise<KORVAN::restFcnService::NoConnectorFound>();
    }
    return client;
}

std::shared_ptr<korvanconnector::vshupdateflip::IVshupdateflipClient> requireUpdateFlipClient() {
    auto client = UpdateFlipClientHolder::instance().getClient();
    if (!client) {
        raise<KORVAN::restFcnService::NoUpdateClientFound>();
    }
    return client;
}

namespace {

// A character array that counts as one text for the shape flag: with 1 only a row vector
// (two dimensions, one row) or the 0-by-0 array, with 0 any shape.
bool isAcceptedCharArray(const kxArray* value, int shapeFlag) {
    if (!kxIsChar(value)) {
        return false;
    }
    if (shapeFlag == 0) {
        return true;
    }
    if (kxGetNumberOfDimensions(value) != 2) {
        return false;
    }
    const kxSize* dims = kxGetDimensions(value);
    return dims[0] == 1 || (dims[0] == 0 && dims[1] == 0);
}

}  // namespace

std::u16string getStringArgument(const kxArray* value, int shapeFlag) {
    if (value == nullptr) {
        raise<KORVAN::string::MustBeStringScalarOrCharacterVector>();
    }
    if (isAcceptedCharArray(value, shapeFlag)) {
        return kxGetCharText(value);
    }
    if (Quillon::String::isString(value)) {
        // The element count is tested before the missing value.
        if (kxGetNumberOfElements(value) != 1) {
            raise<KORVAN::string::MustBeStringScalarOrCharacterVector>();
        }
        const auto& element = kxGetStringElement(value, 0);
        if (!element) {
            raise<KORVAN::string::MissingNotSupported>();
        }
        return *element;
    }
    raise<KORVAN::string::MustBeStringScalarOrCharacterVector>();
}

}  // namespace rest::kv::connector
