// FunctionCallError: see FunctionCallError.hpp.
#include "FunctionCallError.hpp"

#include "kx/kxUtf.hpp"

namespace korvan::shell {
namespace {

resource_core::BaseMsgID recordOf(const std::string& identifier, const std::string& message) {
    auto colon = identifier.rfind(':');
    resource_core::BaseMsgID record(
        colon == std::string::npos ? std::string() : identifier.substr(0, colon),
        colon == std::string::npos ? identifier : identifier.substr(colon + 1), 1);
    record.setArgument(0, resource_core::MsgArgument(message));
    return record;
}

}  // namespace

FunctionCallError::FunctionCallError(const std::string& identifier, const std::string& message)
    : std::runtime_error(message), fRecord(recordOf(identifier, message)), fID(identifier) {}

FunctionCallError::~FunctionCallError() = default;

std::u16string FunctionCallError::GetUnicodeMessageTxt() const {
    return kx::utf8ToUtf16(std::runtime_error::what());
}

}  // namespace korvan::shell
