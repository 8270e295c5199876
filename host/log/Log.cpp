// Writing of log records and the output sink (standard error or a file) built on Boost.Log.
#include <foundation/log/Config.hpp>
#include <foundation/log/Log.hpp>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <mutex>

#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>

#include "LogCore.hpp"

namespace foundation::log {

namespace blog = boost::log;
namespace expr = boost::log::expressions;

const char* levelName(Level level) noexcept {
    switch (level) {
        case Level::Trace:
            return "trace";
        case Level::Debug:
            return "debug";
        case Level::Info:
            return "info";
        case Level::Warning:
            return "warning";
        case Level::Error:
            return "error";
    }
    return "unknown";
}

// Used by the Boost.Log formatter to print the severity attribute.
std::ostream& operator<<(std::ostream& out, Level level) {
    return out << levelName(level);
}

namespace detail {

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t");
    return std::string(text.substr(first, last - first + 1));
}

namespace {

using TextSink = blog::sinks::synchronous_sink<blog::sinks::text_ostream_backend>;

LogState& rawState() {
    static LogState* const instance = new LogState();  // never destroyed, see LogState
    return *instance;
}

bool channelSelected(const std::vector<std::string>& channels, std::string_view channel) {
    if (channels.empty()) {
        return true;
    }
    const std::string name = trimmed(channel);
    return std::find(channels.begin(), channels.end(), name) != channels.end();
}

// Builds the sink for the standard-error or file output; null when the output is off or the
// file cannot be opened.
boost::shared_ptr<TextSink> makeOutputSink(const Settings& settings) {
    if (settings.fOutput == Settings::Output::Off) {
        return nullptr;
    }
    auto backend = boost::make_shared<blog::sinks::text_ostream_backend>();
    if (settings.fOutput == Settings::Output::Stderr) {
        backend->add_stream(boost::shared_ptr<std::ostream>(&std::cerr, boost::null_deleter()));
    } else {
        auto file = boost::make_shared<std::ofstream>(settings.fPath, std::ios::app);
        if (!*file) {
            std::cerr << "korvan: cannot open log file '" << settings.fPath
                      << "'; logging stays off\n";
            return nullptr;
        }
        backend->add_stream(file);
    }
    backend->auto_flush(true);

    auto sink = boost::make_shared<TextSink>(backend);
    // The filter holds its own copy of the selection, so it needs no lock.
    sink->set_filter([channels = settings.fChannels,
                      threshold = settings.fThreshold](const blog::attribute_value_set& attrs) {
        const auto level = blog::extract<Level>("Severity", attrs);
        const auto channel = blog::extract<std::string>("Channel", attrs);
        return level && channel && *level >= threshold && channelSelected(channels, *channel);
    });
    sink->set_formatter(expr::stream
                        << expr::format_date_time<boost::posix_time::ptime>("TimeStamp",
                                                                            "%Y-%m-%d %H:%M:%S.%f")
                        << " ["
                        << expr::attr<blog::attributes::current_thread_id::value_type>("ThreadID")
                        << "] [" << expr::attr<Level>("Severity") << "] ["
                        << expr::attr<std::string>("Channel") << "] " << expr::smessage);
    return sink;
}

void applyLocked(LogState& st, const Settings& settings) {
    auto core = blog::core::get();
    if (st.fOutputSink) {
        core->remove_sink(st.fOutputSink);
        st.fOutputSink.reset();
    }
    st.fSettings = settings;
    for (auto& name : st.fSettings.fChannels) {
        name = trimmed(name);
    }
    if (auto sink = makeOutputSink(st.fSettings)) {
        st.fOutputSink = sink;
        core->add_sink(sink);
    } else {
        st.fSettings.fOutput = Settings::Output::Off;
    }
    st.updateActive();
}

}  // namespace

LogState& state() {
    static std::once_flag once;
    std::call_once(once, [] {
        blog::add_common_attributes();  // TimeStamp, ThreadID (and others) for every record
        LogState& st = rawState();
        std::unique_lock lock(st.fLock);
        applyLocked(st, Settings::fromEnvironment());
    });
    return rawState();
}

}  // namespace detail

bool isEnabled(std::string_view channel, Level level) noexcept {
    detail::LogState& st = detail::state();
    if (!st.fActive.load(std::memory_order_acquire)) {
        return false;
    }
    std::shared_lock lock(st.fLock);
    if (st.fCaptures.find(channel) != st.fCaptures.end()) {
        return true;
    }
    const Settings& s = st.fSettings;
    return s.fOutput != Settings::Output::Off && level >= s.fThreshold &&
           detail::channelSelected(s.fChannels, channel);
}

void write(std::string_view channel, Level level, std::string_view line) noexcept {
    try {
        detail::state();
        blog::sources::severity_channel_logger<Level, std::string> logger(blog::keywords::channel =
                                                                              std::string(channel));
        BOOST_LOG_SEV(logger, level) << line;
    } catch (...) {
        // A failing output must not disturb the caller: the line is dropped.
    }
}

void configure(const Settings& settings) {
    detail::LogState& st = detail::state();
    std::unique_lock lock(st.fLock);
    detail::applyLocked(st, settings);
}

void configureFromEnvironment() {
    configure(Settings::fromEnvironment());
}

Settings currentSettings() {
    detail::LogState& st = detail::state();
    std::shared_lock lock(st.fLock);
    return st.fSettings;
}

}  // namespace foundation::log
