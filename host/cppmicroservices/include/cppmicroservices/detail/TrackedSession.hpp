// TrackedSession: the services a ServiceTracker tracks between one Open() and the matching
// Close(). A new session is made on every Open, so a re-opened tracker starts afresh and late
// events of an old session cannot touch the new one.
//
// Threads: called by the service listener (any thread delivering an event) and by the
// tracker's Open, Close, Remove and query methods. fMutex guards every member below it; it is
// never held while the customizer runs. Each customizer call is recorded in fInFlight so that
// close() can wait for calls running on other threads.
#pragma once

#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTrackerCustomizer.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

template <class S, class T>
class TrackedSession {
  public:
    using Customizer = ServiceTrackerCustomizer<S, T>;
    using Object = std::shared_ptr<typename Customizer::TrackedParamType>;
    using Map = std::unordered_map<ServiceReference<S>, Object>;

    explicit TrackedSession(Customizer* customizer) : fCustomizer(customizer) {}

    /// The services found when the tracker was opened, to be added by trackInitial(). One that
    /// is being unregistered meanwhile is left out: its removal event may already have passed
    /// this session, before the list was here to take it from.
    void setInitial(std::vector<ServiceReference<S>> references) {
        std::lock_guard<std::mutex> lock(fMutex);
        fInitial.clear();
        for (auto const& reference : references) {
            if (isServiceRegistered(reference)) fInitial.push_back(reference);
        }
    }

    /// Adds the initial services one by one on the calling thread; a customizer exception
    /// propagates and leaves the rest unprocessed.
    void trackInitial() {
        std::unique_lock<std::mutex> lock(fMutex);
        while (!fClosed && !fInitial.empty()) {
            ServiceReference<S> reference = fInitial.front();
            fInitial.pop_front();
            if (fTracked.count(reference) != 0 || isAdding(reference) ||
                !isServiceRegistered(reference)) {
                continue;
            }
            fAdding.push_back(reference);
            addThroughCustomizer(reference, lock);
        }
    }

    /// A service event; filter is non-null when the tracker itself must check the match.
    void serviceChanged(ServiceEvent const& event, LDAPFilter const* filter) {
        ServiceReference<S> reference(event.GetServiceReference());
        if (!reference) return;
        switch (event.GetType()) {
            case ServiceEvent::SERVICE_REGISTERED:
            case ServiceEvent::SERVICE_MODIFIED:
                if (filter == nullptr || filter->Match(reference)) {
                    track(reference);
                } else if (event.GetType() == ServiceEvent::SERVICE_MODIFIED) {
                    untrack(reference);
                }
                break;
            case ServiceEvent::SERVICE_MODIFIED_ENDMATCH:
            case ServiceEvent::SERVICE_UNREGISTERING:
                untrack(reference);
                break;
        }
    }

    /// Stops tracking one service, calling RemovedService on this thread.
    void untrack(ServiceReference<S> const& reference) {
        std::unique_lock<std::mutex> lock(fMutex);
        if (fClosed) return;
        // A service listed at Open may also have been added through an event since.
        eraseFrom(fInitial, reference);
        if (eraseFrom(fAdding, reference)) return;  // the adding thread reports the removal
        auto found = fTracked.find(reference);
        if (found == fTracked.end()) return;
        Object object = found->second;
        fTracked.erase(found);
        ++fTrackingCount;
        fChanged.notify_all();
        callCustomizer(lock, [&] { fCustomizer->RemovedService(reference, object); });
    }

    /// Marks the session closed, waits until no customizer call runs on another thread, and
    /// hands back what was tracked (the caller reports each removal).
    std::vector<std::pair<ServiceReference<S>, Object>> close() {
        std::unique_lock<std::mutex> lock(fMutex);
        fClosed = true;
        fInitial.clear();
        fChanged.notify_all();
        auto const self = std::this_thread::get_id();
        fChanged.wait(lock, [&] {
            return std::all_of(fInFlight.begin(), fInFlight.end(),
                               [&](std::thread::id id) { return id == self; });
        });
        std::vector<std::pair<ServiceReference<S>, Object>> removed(fTracked.begin(),
                                                                    fTracked.end());
        fTracked.clear();
        return removed;
    }

    /// Waits until a service is tracked or the session is closed, at most until deadline
    /// (steady clock). Returns true when something is tracked.
    bool waitUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(fMutex);
        fChanged.wait_until(lock, deadline, [&] { return fClosed || !fTracked.empty(); });
        return !fTracked.empty();
    }

    bool closed() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fClosed;
    }

    Map tracked() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fTracked;
    }

    Object objectFor(ServiceReference<S> const& reference) const {
        std::lock_guard<std::mutex> lock(fMutex);
        auto found = fTracked.find(reference);
        return found == fTracked.end() ? nullptr : found->second;
    }

    /// The best tracked service (highest ranking, then lowest id); false reference if none.
    std::pair<ServiceReference<S>, Object> best() const {
        std::lock_guard<std::mutex> lock(fMutex);
        auto chosen = fTracked.end();
        for (auto it = fTracked.begin(); it != fTracked.end(); ++it) {
            if (chosen == fTracked.end() || chosen->first < it->first) chosen = it;
        }
        if (chosen == fTracked.end()) return {};
        return *chosen;
    }

    int size() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return static_cast<int>(fTracked.size());
    }

    int trackingCount() const {
        std::lock_guard<std::mutex> lock(fMutex);
        return fTrackingCount;
    }

  private:
    void track(ServiceReference<S> const& reference) {
        std::unique_lock<std::mutex> lock(fMutex);
        if (fClosed) return;
        eraseFrom(fInitial, reference);
        auto found = fTracked.find(reference);
        if (found != fTracked.end()) {
            Object object = found->second;
            ++fTrackingCount;
            fChanged.notify_all();
            callCustomizer(lock, [&] { fCustomizer->ModifiedService(reference, object); });
            return;
        }
        if (isAdding(reference)) return;
        fAdding.push_back(reference);
        addThroughCustomizer(reference, lock);
    }

    // Called with the lock held and reference in fAdding; returns with the lock held.
    void addThroughCustomizer(ServiceReference<S> const& reference,
                              std::unique_lock<std::mutex>& lock) {
        Object object;
        try {
            callCustomizer(
                lock, [&] { object = fCustomizer->AddingService(reference); }, false);
        } catch (...) {
            eraseFrom(fAdding, reference);
            leave();
            throw;
        }
        // One critical section from here to leave(), so that close() sees the new entry.
        bool const wanted = eraseFrom(fAdding, reference) && isServiceRegistered(reference);
        if (object && wanted) {
            fTracked.emplace(reference, object);
            ++fTrackingCount;
        }
        leave();
        if (object && !wanted) {
            // Removed (or being removed) while it was being added: report it at once.
            callCustomizer(lock, [&] { fCustomizer->RemovedService(reference, object); });
        }
    }

    // Runs call without the lock, recorded in fInFlight. With leaveAfter false the caller
    // takes the lock back and must call leave() itself (also when call throws).
    template <class Call>
    void callCustomizer(std::unique_lock<std::mutex>& lock, Call&& call, bool leaveAfter = true) {
        fInFlight.insert(std::this_thread::get_id());
        lock.unlock();
        try {
            call();
        } catch (...) {
            lock.lock();
            if (leaveAfter) leave();
            throw;
        }
        lock.lock();
        if (leaveAfter) leave();
    }

    void leave() {
        fInFlight.erase(fInFlight.find(std::this_thread::get_id()));
        fChanged.notify_all();
    }

    bool isAdding(ServiceReference<S> const& reference) const {
        return std::find(fAdding.begin(), fAdding.end(), reference) != fAdding.end();
    }

    template <class Container>
    static bool eraseFrom(Container& container, ServiceReference<S> const& reference) {
        auto found = std::find(container.begin(), container.end(), reference);
        if (found == container.end()) return false;
        container.erase(found);
        return true;
    }

    Customizer* const fCustomizer;  // not owned; outlives the tracker

    mutable std::mutex fMutex;
    std::condition_variable fChanged;  // tracked set, closed flag or fInFlight changed
    bool fClosed = false;
    int fTrackingCount = 0;
    std::deque<ServiceReference<S>> fInitial;  // found by Open, not yet added
    std::vector<ServiceReference<S>> fAdding;  // AddingService running for these
    Map fTracked;
    std::multiset<std::thread::id> fInFlight;  // threads inside a customizer call
};

}  // namespace cppmicroservices::detail
