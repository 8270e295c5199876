#include "ServiceHostSchedule.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "foundation/log/Log.hpp"

namespace korvan::services::servicehost::detail {

namespace {
const foundation::log::Channel kLog{"korvan::servicehost"};
}  // namespace

UpdateSchedule::UpdateSchedule(std::function<Clock::time_point()> now,
                               std::chrono::milliseconds pollInterval, std::function<void()> action)
    : fNow(std::move(now)),
      fPollInterval(std::max(pollInterval, std::chrono::milliseconds(1))),
      fAction(std::move(action)) {}

UpdateSchedule::~UpdateSchedule() {
    stop();
}

bool UpdateSchedule::plan(Clock::time_point due) {
    {
        std::lock_guard lock(fLock);
        if (fStopping || fDue) return false;
        fDue = due;
        if (!fThread.joinable()) fThread = std::thread([this] { run(); });
    }
    fWake.notify_all();
    return true;
}

void UpdateSchedule::cancel() {
    {
        std::lock_guard lock(fLock);
        fDue.reset();
    }
    fWake.notify_all();
}

std::optional<UpdateSchedule::Clock::time_point> UpdateSchedule::due() const {
    std::lock_guard lock(fLock);
    return fDue;
}

void UpdateSchedule::stop() {
    std::thread thread;
    {
        std::lock_guard lock(fLock);
        fStopping = true;
        fDue.reset();
        thread = std::move(fThread);
    }
    fWake.notify_all();
    if (thread.joinable()) thread.join();
}

void UpdateSchedule::run() {
    std::unique_lock lock(fLock);
    while (!fStopping) {
        if (!fDue) {
            fWake.wait(lock);
            continue;
        }
        const Clock::time_point now = fNow();
        if (now < *fDue) {
            const auto remaining = std::chrono::duration_cast<std::chrono::milliseconds>(
                *fDue - now + std::chrono::milliseconds(1));
            fWake.wait_for(lock, std::min(remaining, fPollInterval));
            continue;
        }
        fDue.reset();
        lock.unlock();
        FOUNDATION_LOG(kLog, "Scheduled update flip starts");
        try {
            fAction();
        } catch (const std::exception& e) {
            FOUNDATION_LOG_AT(kLog, foundation::log::Level::Error,
                              "Scheduled update flip failed: " << e.what());
        } catch (...) {
            FOUNDATION_LOG_AT(kLog, foundation::log::Level::Error,
                              "Scheduled update flip failed with an unknown exception");
        }
        lock.lock();
    }
}

}  // namespace korvan::services::servicehost::detail
