#include "cmddistributor/RuntimeException.hpp"

#include "ExceptionBridge.hpp"
#include "korvan/host/Catalogue.hpp"

namespace kvutil::except {
IMExceptionEnvelope::~IMExceptionEnvelope() = default;
}  // namespace kvutil::except

namespace cmddistributor {
namespace {

// "A:B:C" -> component "A:B", name "C"; an identifier without ':' is all name.
resource_core::BaseMsgID makeMsgID(const std::string& identifier,
                                   std::vector<resource_core::MsgArgument> arguments) {
    const auto colon = identifier.rfind(':');
    std::string component =
        colon == std::string::npos ? std::string() : identifier.substr(0, colon);
    std::string name = colon == std::string::npos ? identifier : identifier.substr(colon + 1);
    resource_core::BaseMsgID msgID(std::move(component), std::move(name), arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        msgID.setArgument(i, std::move(arguments[i]));
    }
    return msgID;
}

}  // namespace

RuntimeException::RuntimeException(ExecutionStatus status, std::string message,
                                   std::string identifier, std::string sourceFile,
                                   std::vector<kvutil::except::StackFrame> stack,
                                   std::vector<std::exception_ptr> nested, bool isUserError,
                                   std::vector<resource_core::MsgArgument> messageArguments)
    : fStatus(status),
      fMessage(std::move(message)),
      fIdentifier(identifier),
      fSourceFile(std::move(sourceFile)),
      fStack(std::move(stack)),
      fNested(std::move(nested)),
      fIsUserError(isUserError),
      fMsgID(makeMsgID(identifier, std::move(messageArguments))) {}

RuntimeException::~RuntimeException() = default;

std::u16string RuntimeException::GetUnicodeMessageTxt() const {
    if (fMessage.empty() && !fIdentifier.empty()) {
        return korvan::host::MessageCatalogue::instance().render(fMsgID);
    }
    return korvan::host::MessageCatalogue::fillHoles(convert_str(fMessage), fMsgID.getArguments());
}

boost::future<void> makeFailedFuture(const RuntimeException& error) {
    boost::promise<void> promise;
    // Through std::exception_ptr so that get() rethrows the exact type.
    promise.set_exception(detail::toBoostExceptionPtr(std::make_exception_ptr(error)));
    return promise.get_future();
}

}  // namespace cmddistributor
