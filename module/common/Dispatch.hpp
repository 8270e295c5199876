// Posting work from other threads (service-registry executor, connector client) to the host
// interpreter thread, fire-and-forget.
//
// postToInterpreter wraps the work in a packaged-task request of the interpreter's command
// distributor and returns at once: nobody waits for the work, reads its result or sets a
// time-out. A failure of the work, or the absence of a distributor, stays in a future that is
// dropped before the call returns.
//
// Threads: any thread except, by convention, the interpreter thread itself (the work would only
// be queued behind the current command). It never blocks on the interpreter thread, so it may
// be called while holding locks that the posted work does not take.
#pragma once

#include <memory>

#include <boost/function.hpp>

#include "xvm/XVM.hpp"

namespace rest::kv::connector {

/// The origin text the module's requests carry (the host names it in diagnostics).
inline constexpr const char* kDispatchOrigin = "RestfcnConnector";

/// Queues `work` (not empty) for `interpreter`'s thread and returns without waiting.
/// Only allocation failures propagate.
void postToInterpreter(const std::shared_ptr<xvm::XVM>& interpreter, boost::function<void()> work);

}  // namespace rest::kv::connector
