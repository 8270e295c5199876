// Host warnings (korvan/host/Warnings.hpp).
#include "korvan/host/Warnings.hpp"

#include <iostream>
#include <mutex>

#include "foundation/core/except/IException.hpp"
#include "korvan/host/Catalogue.hpp"

namespace korvan::host {
namespace {

struct WarningState {
    std::mutex fStateLock;
    WarningSink fSink;       // guarded by fStateLock; empty means std::cerr
    LastWarning fLast;       // guarded by fStateLock
    std::mutex fOutputLock;  // held while a sink writes one line
};

WarningState& state() {
    static WarningState* s = new WarningState();  // outlives static destructors that warn
    return *s;
}

}  // namespace

WarningSink setWarningSink(WarningSink sink) {
    auto& s = state();
    std::lock_guard lock(s.fStateLock);
    std::swap(s.fSink, sink);
    return sink;
}

void issueWarning(std::string_view message, std::string_view identifier) {
    auto& s = state();
    WarningSink sink;
    {
        std::lock_guard lock(s.fStateLock);
        s.fLast = LastWarning{std::string(message), std::string(identifier)};
        sink = s.fSink;
    }
    const std::string line = "Warning: " + std::string(message) + "\n";
    std::lock_guard output(s.fOutputLock);
    if (sink) {
        sink(line);
    } else {
        std::cerr << line << std::flush;
    }
}

LastWarning lastWarning() {
    auto& s = state();
    std::lock_guard lock(s.fStateLock);
    return s.fLast;
}

void clearLastWarning() {
    auto& s = state();
    std::lock_guard lock(s.fStateLock);
    s.fLast = LastWarning{};
}

}  // namespace korvan::host

void kxWarningMsgId(const resource_core::BaseMsgID& msgID) {
    korvan::host::issueWarning(korvan::host::MessageCatalogue::instance().renderUtf8(msgID),
                               foundation::core::except::IMsgIDException::get_error_id(msgID));
}
