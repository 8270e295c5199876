// The interrupt request (see Interrupt.hpp and Interpreter::requestInterrupt).
#include "Interrupt.hpp"

#include <atomic>

#include "Values.hpp"
#include "korvan/lang/Interpreter.hpp"

namespace korvan::lang {
namespace {

// Set from a signal handler: must be lock-free to be async-signal-safe.
std::atomic<bool> gInterruptRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

void Interpreter::requestInterrupt() noexcept {
    gInterruptRequested.store(true, std::memory_order_release);
}

void Interpreter::clearInterrupt() noexcept {
    gInterruptRequested.store(false, std::memory_order_release);
}

void checkInterrupt() {
    if (gInterruptRequested.load(std::memory_order_acquire) &&
        gInterruptRequested.exchange(false, std::memory_order_acq_rel))
        langError("Interrupted");
}

}  // namespace korvan::lang
