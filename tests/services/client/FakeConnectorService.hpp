// A stand-in for the hosted connector service: an Invokable that records each call (operation
// and argument text), answers with a scripted result per operation ("null" otherwise) or throws
// a scripted exception, published in the host's registry under the connector service's client
// ID. Thread-safe (fMutex guards everything).
#pragma once

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/spf/core/Invokable.hpp"
#include "agent/spf/cppmsclientutils/TrackedServiceInfo.hpp"
#include "foundation/cppmicroservices/Framework.hpp"

namespace korvan::test {

class FakeConnectorService : public agent::spf::core::Invokable {
  public:
    struct Call {
        std::string fOperation;
        std::string fArguments;
    };

    std::string invoke(const std::string& operation, const std::string& arguments) override {
        std::function<void()> failure;
        std::string result = "null";
        {
            std::lock_guard lock(fMutex);
            fCalls.push_back({operation, arguments});
            failure = fFailure;
            if (auto found = fResults.find(operation); found != fResults.end()) {
                result = found->second;
            }
        }
        if (failure) failure();
        return result;
    }

    void setResult(const std::string& operation, std::string result) {
        std::lock_guard lock(fMutex);
        fResults[operation] = std::move(result);
    }
    /// Every later invoke calls `thrower` (which throws) after recording the call.
    void failWith(std::function<void()> thrower) {
        std::lock_guard lock(fMutex);
        fFailure = std::move(thrower);
    }
    std::vector<Call> calls() const {
        std::lock_guard lock(fMutex);
        return fCalls;
    }

  private:
    mutable std::mutex fMutex;
    std::vector<Call> fCalls;
    std::map<std::string, std::string> fResults;
    std::function<void()> fFailure;
};

/// Publishes a service under the connector service's client ID while it lives (or until
/// withdraw()).
class PublishedService {
  public:
    explicit PublishedService(std::shared_ptr<agent::spf::core::Invokable> service,
                              int ranking = 0) {
        auto properties =
            agent::spf::cppmsclientutils::TrackedServiceInfo("restfcnconnectorservice", 1, 0)
                .getServiceProperties();
        properties[cppmicroservices::Constants::SERVICE_RANKING] = ranking;
        fRegistration = foundation::cppmicroservices::getFramework()
                            .GetBundleContext()
                            .RegisterService<agent::spf::core::Invokable>(service, properties);
    }
    ~PublishedService() { withdraw(); }
    PublishedService(const PublishedService&) = delete;
    PublishedService& operator=(const PublishedService&) = delete;

    void withdraw() {
        if (fWithdrawn) return;
        fWithdrawn = true;
        fRegistration.Unregister();
    }

  private:
    cppmicroservices::ServiceRegistration<agent::spf::core::Invokable> fRegistration;
    bool fWithdrawn = false;
};

}  // namespace korvan::test
