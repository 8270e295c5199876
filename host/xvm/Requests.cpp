#include <stdexcept>

#include "cmddistributor/CmdRequest.hpp"
#include "cmddistributor/IIP.hpp"

namespace cmddistributor {

IIP::IIP(std::string kind, IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
         kvutil::io::KVSinkRef errorSink, std::string origin)
    : fKind(std::move(kind)),
      fStreamID(streamID),
      fOutputSink(std::move(outputSink)),
      fErrorSink(std::move(errorSink)),
      fOrigin(std::move(origin)) {}

IIP::~IIP() = default;

namespace {
boost::function<void()> requireFunction(boost::function<void()> func) {
    if (func.empty()) throw std::invalid_argument("func cannot be empty.");
    return func;
}
}  // namespace

PackagedTaskIIP::PackagedTaskIIP(boost::function<void()> func, kvutil::io::KVSinkRef outputSink,
                                 kvutil::io::KVSinkRef errorSink, std::string kind,
                                 std::string origin, IqmStreamID streamID)
    : IIP(std::move(kind), streamID, std::move(outputSink), std::move(errorSink),
          std::move(origin)),
      fFunc(requireFunction(std::move(func))) {}

PackagedTaskIIP::PackagedTaskIIP(boost::function<void()> func, kvutil::io::KVSinkRef outputSink,
                                 kvutil::io::KVSinkRef errorSink, std::string origin)
    : PackagedTaskIIP(std::move(func), std::move(outputSink), std::move(errorSink), kKind,
                      std::move(origin), kPackagedTaskStreamID) {}

ExecutionResult PackagedTaskIIP::execute() noexcept {
    try {
        fFunc();
        return {};
    } catch (...) {
        return {ExecutionStatus::Failed, std::current_exception()};
    }
}

CmdRequest::CmdRequest(IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
                       kvutil::io::KVSinkRef errorSink)
    : fStreamID(streamID), fOutputSink(std::move(outputSink)), fErrorSink(std::move(errorSink)) {}

CmdRequest::~CmdRequest() = default;

FcnCmdRequest<void>::FcnCmdRequest(std::shared_ptr<IIP> iip)
    : CmdRequest(iip ? iip->getStreamID() : kPackagedTaskStreamID,
                 iip ? iip->getOutputSink() : nullptr, iip ? iip->getErrorSink() : nullptr) {
    setIIP(std::move(iip));
}

FcnCmdRequest<void>::FcnCmdRequest(IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
                                   kvutil::io::KVSinkRef errorSink, std::shared_ptr<IIP> iip)
    : CmdRequest(streamID, std::move(outputSink), std::move(errorSink)) {
    setIIP(std::move(iip));
}

FcnCmdRequest<void>::~FcnCmdRequest() = default;

}  // namespace cmddistributor
