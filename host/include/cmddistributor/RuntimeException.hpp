// The error that the command distributor stores in the future of a request that the host
// could not run: no distributor for the target, queue full, distributor stopped, request
// cancelled or timed out. (Work that runs and throws keeps its own exception; see IIP.hpp.)
//
//   auto error = cmddistributor::RuntimeException(
//       cmddistributor::ExecutionStatus::NoDistributor, "No CmdDistributor available");
//   boost::future<void> failed = cmddistributor::makeFailedFuture(error);
//
// Value type: copyable, immutable after construction, thrown by value and rethrown from a
// future with its exact type.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "cmddistributor/Types.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/BoostFuture.hpp"
#include "kvutil/except/IMExceptionEnvelope.hpp"
#include "resource_core/BaseMsgID.hpp"

namespace cmddistributor {

class KORVAN_HOST_EXPORT RuntimeException : public kvutil::except::IMExceptionEnvelope {
  public:
    /// `identifier` is "component:name" (may be empty: the error then has no identifier and
    /// its text is `message`). `messageArguments` fill the numbered holes {1}, {2}, ... of
    /// `message`, or of the catalogue entry of `identifier` when `message` is empty.
    /// `isUserError` tells whether the failure came from user code (true) or from the host.
    RuntimeException(ExecutionStatus status, std::string message, std::string identifier = {},
                     std::string sourceFile = {},
                     std::vector<kvutil::except::StackFrame> stack = {},
                     std::vector<std::exception_ptr> nested = {}, bool isUserError = false,
                     std::vector<resource_core::MsgArgument> messageArguments = {});
    RuntimeException(const RuntimeException& other) = default;
    ~RuntimeException() override;

    RuntimeException* clone() const override { return new RuntimeException(*this); }
    [[noreturn]] void rethrow() const override { throw RuntimeException(*this); }

    ExecutionStatus getExecutionStatus() const noexcept { return fStatus; }
    const std::string& getMessage() const noexcept override { return fMessage; }
    const std::string& getSourceFile() const noexcept { return fSourceFile; }
    const std::vector<kvutil::except::StackFrame>& getStack() const noexcept override {
        return fStack;
    }
    const std::vector<std::exception_ptr>& getNestedExceptions() const noexcept override {
        return fNested;
    }
    bool isUserError() const noexcept { return fIsUserError; }

    /// The identifier as given (possibly empty).
    std::string GetID() const override { return fIdentifier; }
    const resource_core::BaseMsgID& GetBaseMsgIDObj() const override { return fMsgID; }
    /// `message` with its arguments filled in; the catalogue text when `message` is empty.
    std::u16string GetUnicodeMessageTxt() const override;

  private:
    ExecutionStatus fStatus;
    std::string fMessage;
    std::string fIdentifier;
    std::string fSourceFile;
    std::vector<kvutil::except::StackFrame> fStack;
    std::vector<std::exception_ptr> fNested;
    bool fIsUserError;
    resource_core::BaseMsgID fMsgID;  // identifier split at its last ':', and the arguments
};

/// A future that is already failed with `error` (rethrown by get() with its exact type).
KORVAN_HOST_EXPORT boost::future<void> makeFailedFuture(const RuntimeException& error);

}  // namespace cmddistributor
