// Payloads of command requests (IIP: the "interpreter input packet"): what the interpreter
// thread runs when it takes a request from the command distributor's queue.
//
// IIP is the base: kind (e.g. "packaged_task"), stream identifier, output and error sinks and
// an origin text (the unit that posted it, for diagnostics). PackagedTaskIIP runs one
// parameterless function.
//
// Threads: built on any thread, executed once on the interpreter thread. Immutable apart
// from execution.
#pragma once

#include <boost/function.hpp>
#include <string>

#include "cmddistributor/Types.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/io/KVSink.hpp"

namespace cmddistributor {

class KORVAN_HOST_EXPORT IIP {
  public:
    IIP(std::string kind, IqmStreamID streamID, kvutil::io::KVSinkRef outputSink,
        kvutil::io::KVSinkRef errorSink, std::string origin);
    virtual ~IIP();
    IIP(const IIP&) = delete;
    IIP& operator=(const IIP&) = delete;

    const std::string& getKind() const noexcept { return fKind; }
    IqmStreamID getStreamID() const noexcept { return fStreamID; }
    const kvutil::io::KVSinkRef& getOutputSink() const noexcept { return fOutputSink; }
    const kvutil::io::KVSinkRef& getErrorSink() const noexcept { return fErrorSink; }
    const std::string& getOrigin() const noexcept { return fOrigin; }

    /// Runs the payload on the calling (interpreter) thread. Never throws: any exception of
    /// the payload comes back as a Failed result carrying it.
    virtual ExecutionResult execute() noexcept = 0;

  private:
    const std::string fKind;
    const IqmStreamID fStreamID;
    const kvutil::io::KVSinkRef fOutputSink;
    const kvutil::io::KVSinkRef fErrorSink;
    const std::string fOrigin;
};

/// A parameterless function to run on the interpreter thread.
class KORVAN_HOST_EXPORT PackagedTaskIIP final : public IIP {
  public:
    static constexpr const char* kKind = "packaged_task";

    /// Throws std::invalid_argument "func cannot be empty." when `func` is empty.
    PackagedTaskIIP(boost::function<void()> func, kvutil::io::KVSinkRef outputSink,
                    kvutil::io::KVSinkRef errorSink, std::string kind, std::string origin,
                    IqmStreamID streamID);
    /// Kind "packaged_task", stream kPackagedTaskStreamID.
    PackagedTaskIIP(boost::function<void()> func, kvutil::io::KVSinkRef outputSink,
                    kvutil::io::KVSinkRef errorSink, std::string origin);

    ExecutionResult execute() noexcept override;

  private:
    boost::function<void()> fFunc;  // not empty; called once per execute()
};

}  // namespace cmddistributor
