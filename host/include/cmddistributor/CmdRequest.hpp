// A request to the command distributor: where it comes from (stream identifier), where its
// output goes (two sinks) and what to run (its payload, an IIP).
//
//   auto iip = std::make_shared<cmddistributor::PackagedTaskIIP>(work, out, err, "Origin");
//   auto request = std::make_shared<cmddistributor::FcnCmdRequest<void>>(iip);
//   boost::future<void> done = distributor->enqueueWithFuture(request, options, taskId);
//
// Ownership: requests are shared; the distributor keeps its reference until the request ran
// or was dropped. Threads: built on any thread, then only read (the payload executes on the
// interpreter thread).
#pragma once

#include <memory>

#include "cmddistributor/IIP.hpp"
#include "cmddistributor/Types.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/io/KVSink.hpp"

namespace cmddistributor {

class KORVAN_HOST_EXPORT CmdRequest {
  public:
    CmdRequest(IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
               kvutil::io::KVSinkRef errorSink);
    virtual ~CmdRequest();
    CmdRequest(const CmdRequest&) = delete;
    CmdRequest& operator=(const CmdRequest&) = delete;

    IqmStreamID getStreamID() const noexcept { return fStreamID; }
    const kvutil::io::KVSinkRef& getOutputSink() const noexcept { return fOutputSink; }
    const kvutil::io::KVSinkRef& getErrorSink() const noexcept { return fErrorSink; }

    /// The payload; null until set. A request without payload cannot be enqueued.
    const std::shared_ptr<IIP>& getIIP() const noexcept { return fIIP; }
    /// Sets the payload; call before enqueueing (not synchronised with the distributor).
    void setIIP(std::shared_ptr<IIP> iip) { fIIP = std::move(iip); }

  private:
    const IqmStreamID fStreamID;
    const kvutil::io::KVSinkRef fOutputSink;
    const kvutil::io::KVSinkRef fErrorSink;
    std::shared_ptr<IIP> fIIP;
};

/// A request whose payload computes a value of type T. Only T = void exists: posted work
/// returns nothing; its future tells when it ran and whether it failed.
template <class T>
class FcnCmdRequest;

template <>
class KORVAN_HOST_EXPORT FcnCmdRequest<void> : public CmdRequest {
  public:
    /// Takes stream identifier and sinks from the payload. A null payload leaves the request
    /// without one (enqueueWithFuture rejects it).
    explicit FcnCmdRequest(std::shared_ptr<IIP> iip);
    FcnCmdRequest(IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
                  kvutil::io::KVSinkRef errorSink, std::shared_ptr<IIP> iip);
    ~FcnCmdRequest() override;
};

}  // namespace cmddistributor
