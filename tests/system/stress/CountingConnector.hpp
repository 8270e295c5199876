// CountingConnector: the hosted connector as the service host publishes it in the stress test,
// wrapped so that the test sees what happens to each instance. Every operation is forwarded
// unchanged; the wrapper counts
//   - restarts: a successful "startConnector" that follows a "restoreSettings" on the same
//     instance (the module restarts with the last applied settings; a user's start does not
//     restore them first);
//   - user starts: any other successful "startConnector";
//   - flips while running: instances whose server was running when they were shut down by a
//     flip (not by the host's stop at the end);
// and keeps, per instance, whether it was started, whether it ran when flipped away, and
// whether a user's start on it was cut short by the flip.
//
// Owns: the wrapped instance. The ledger is shared by every instance and the test.
// Threads: invoke from the module's calls (interpreter thread) and the test's probes (any
// thread); shutdown on the flipping thread. The counts are atomics; fRestored is guarded by
// fMutex.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "korvan/services/servicehost/HostedService.hpp"
#include "rest/kv/connectorservice/Operations.hpp"

namespace korvan::test {

struct FlipLedger {
    std::atomic<std::uint64_t> fInstances{0};
    std::atomic<std::uint64_t> fFlipsWhileRunning{0};
    std::atomic<std::uint64_t> fRestarts{0};
    std::atomic<std::uint64_t> fUserStarts{0};
    std::atomic<std::uint64_t> fRestoresWithoutStart{0};  // a restore not followed by a start
    std::atomic<bool> fTearingDown{false};                // the host's stop, not a flip
    std::mutex fFailureMutex;
    std::string fStartFailure;  // the last failed start's reason; guarded by fFailureMutex

    /// What happened to one instance (by its number, 0 for the first).
    struct Instance {
        bool fStarted = false;        // a start (the user's or a restart) succeeded on it
        bool fRunningAtFlip = false;  // its server ran when a flip shut it down
        bool fCut = false;            // a user's start reached it, then failed (see markCut)
    };

    std::uint64_t add() {
        std::lock_guard lock(fMutex);
        fList.emplace_back();
        ++fInstances;
        return fList.size() - 1;
    }
    void started(std::uint64_t index, bool userStart) {
        std::lock_guard lock(fMutex);
        fList[index].fStarted = true;
        if (userStart) fLastUserStart = index;
    }
    void flippedAway(std::uint64_t index) {
        std::lock_guard lock(fMutex);
        fList[index].fRunningAtFlip = true;
    }
    /// A user's start that the service accepted but that then failed because the instance went
    /// away: the module saw no running connector, so no restart is owed for that instance.
    void markCut() {
        std::lock_guard lock(fMutex);
        if (fLastUserStart) fList[*fLastUserStart].fCut = true;
    }
    Instance at(std::uint64_t index) const {
        std::lock_guard lock(fMutex);
        return index < fList.size() ? fList[index] : Instance{};
    }
    std::vector<Instance> all() const {
        std::lock_guard lock(fMutex);
        return fList;
    }

  private:
    mutable std::mutex fMutex;
    std::vector<Instance> fList;                  // guarded by fMutex
    std::optional<std::uint64_t> fLastUserStart;  // guarded by fMutex
};

class CountingConnector final : public korvan::services::servicehost::HostedService {
  public:
    CountingConnector(std::shared_ptr<korvan::services::servicehost::HostedService> inner,
                      std::shared_ptr<FlipLedger> ledger)
        : fInner(std::move(inner)), fLedger(std::move(ledger)), fIndex(fLedger->add()) {}

    std::string invoke(const std::string& operation, const std::string& arguments) override {
        namespace op = rest::kv::connectorservice::op;
        std::string result;
        try {
            result = fInner->invoke(operation, arguments);
        } catch (const std::exception& e) {
            if (operation == op::startConnector) {
                std::lock_guard lock(fLedger->fFailureMutex);
                fLedger->fStartFailure = e.what();
            }
            throw;
        }
        if (operation == op::restoreSettings) {
            std::lock_guard lock(fMutex);
            if (fRestored) ++fLedger->fRestoresWithoutStart;
            fRestored = true;
        } else if (operation == op::startConnector) {
            std::lock_guard lock(fMutex);
            if (fRestored) {
                ++fLedger->fRestarts;
            } else {
                ++fLedger->fUserStarts;
            }
            fLedger->started(fIndex, !fRestored);
            fRestored = false;
        }
        return result;
    }

    void shutdown() override {
        bool running = false;
        try {
            running =
                fInner->invoke(std::string(rest::kv::connectorservice::op::getStatus), "{}") == "1";
        } catch (...) {
            // an instance that cannot say counts as not running
        }
        if (running && !fLedger->fTearingDown) {
            ++fLedger->fFlipsWhileRunning;
            fLedger->flippedAway(fIndex);
        }
        {
            std::lock_guard lock(fMutex);
            if (fRestored) ++fLedger->fRestoresWithoutStart;
            fRestored = false;
        }
        fInner->shutdown();
    }

    /// This instance's number in the ledger.
    std::uint64_t index() const { return fIndex; }

    /// True when the wrapped server runs.
    bool running() {
        return fInner->invoke(std::string(rest::kv::connectorservice::op::getStatus), "{}") == "1";
    }

  private:
    const std::shared_ptr<korvan::services::servicehost::HostedService> fInner;
    const std::shared_ptr<FlipLedger> fLedger;
    const std::uint64_t fIndex;
    std::mutex fMutex;
    bool fRestored = false;  // guarded by fMutex
};

}  // namespace korvan::test
