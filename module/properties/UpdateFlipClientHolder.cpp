// UpdateFlipClientHolder: one look for the update-flip client, at construction.
#include "properties/UpdateFlipClientHolder.hpp"

#include <chrono>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>

#include "foundation/cppmicroservices/Framework.hpp"
#include "foundation/usm/UniqueSingletons.hpp"

namespace rest::kv::connector {

namespace {

// The tracker calls no handlers, so it needs no executor.
constexpr int kTrackerFlags = agent::spf::cppmsclientutils::TrackerFlags::kCallDirectly;

}  // namespace

UpdateFlipClientHolder& UpdateFlipClientHolder::instance() {
    static const foundation::usm::Id id = foundation::usm::obtainId();
    if (auto* found = foundation::usm::find<UpdateFlipClientHolder>(id)) {
        return *found;
    }
    auto candidate = std::make_unique<UpdateFlipClientHolder>();
    return *foundation::usm::findOrInsert(id, candidate);
}

UpdateFlipClientHolder::UpdateFlipClientHolder() {
    const cppmicroservices::LDAPFilter matchAll;
    auto context = foundation::cppmicroservices::getFramework().GetBundleContext();
    if (!context) {
        return;  // no client for good: NoUpdateClientFound on every use
    }
    fTracker = std::make_shared<agent::spf::cppmsclientutils::ServiceTracker<Client>>(
        context, matchAll, kTrackerFlags);
    fTracker->logStarting();
    fTracker->Open();
    fTracker->logWaiting();
    // The holder never looks again: an empty result stays empty for the life of the process.
    fClient = fTracker->WaitForService(std::chrono::milliseconds(500));
}

UpdateFlipClientHolder::~UpdateFlipClientHolder() = default;

}  // namespace rest::kv::connector
