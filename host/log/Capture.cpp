// ScopedCapture: a Boost.Log sink that keeps the message texts of one channel.
#include <foundation/log/Capture.hpp>

#include <mutex>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "LogCore.hpp"

namespace foundation::log {

namespace blog = boost::log;

namespace {

// Collects message texts; the synchronous frontend serialises consume(), fLock guards fLines
// against concurrent readers.
class CaptureBackend : public blog::sinks::basic_sink_backend<blog::sinks::synchronized_feeding> {
  public:
    void consume(const blog::record_view& rec) {
        const auto message = blog::extract<std::string>("Message", rec);
        std::lock_guard lock(fLock);
        fLines.push_back(message ? *message : std::string());
    }
    std::vector<std::string> lines() const {
        std::lock_guard lock(fLock);
        return fLines;
    }
    void clear() {
        std::lock_guard lock(fLock);
        fLines.clear();
    }

  private:
    mutable std::mutex fLock;
    std::vector<std::string> fLines;  // guarded by fLock
};

using CaptureSink = blog::sinks::synchronous_sink<CaptureBackend>;

}  // namespace

struct ScopedCapture::Impl {
    std::string fChannel;
    boost::shared_ptr<CaptureBackend> fBackend;
    boost::shared_ptr<CaptureSink> fSink;
};

ScopedCapture::ScopedCapture(std::string channel) : fImpl(std::make_unique<Impl>()) {
    fImpl->fChannel = std::move(channel);
    fImpl->fBackend = boost::make_shared<CaptureBackend>();
    fImpl->fSink = boost::make_shared<CaptureSink>(fImpl->fBackend);
    fImpl->fSink->set_filter([name = fImpl->fChannel](const blog::attribute_value_set& attrs) {
        const auto channel = blog::extract<std::string>("Channel", attrs);
        return channel && *channel == name;
    });

    detail::LogState& st = detail::state();
    std::unique_lock lock(st.fLock);
    blog::core::get()->add_sink(fImpl->fSink);
    ++st.fCaptures[fImpl->fChannel];
    st.updateActive();
}

ScopedCapture::~ScopedCapture() {
    detail::LogState& st = detail::state();
    std::unique_lock lock(st.fLock);
    blog::core::get()->remove_sink(fImpl->fSink);
    auto it = st.fCaptures.find(fImpl->fChannel);
    if (it != st.fCaptures.end() && --it->second == 0) {
        st.fCaptures.erase(it);
    }
    st.updateActive();
}

std::vector<std::string> ScopedCapture::lines() const {
    return fImpl->fBackend->lines();
}

void ScopedCapture::clear() {
    fImpl->fBackend->clear();
}

}  // namespace foundation::log
