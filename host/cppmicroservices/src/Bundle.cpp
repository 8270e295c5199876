// Bundle: the handle on the system bundle of a framework.
#include "CoreFramework.h"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {
char const* const kInvalidBundle = "invalid bundle";
}

Bundle::Bundle() = default;
Bundle::Bundle(std::shared_ptr<detail::CoreFramework> core) : d(std::move(core)) {}
Bundle::Bundle(Bundle const&) = default;
Bundle::Bundle(Bundle&&) noexcept = default;
Bundle& Bundle::operator=(Bundle const&) = default;
Bundle& Bundle::operator=(Bundle&&) noexcept = default;
Bundle::~Bundle() = default;

Bundle& Bundle::operator=(std::nullptr_t) {
    d.reset();
    return *this;
}

bool Bundle::operator==(Bundle const& rhs) const {
    return d == rhs.d;
}
bool Bundle::operator!=(Bundle const& rhs) const {
    return !(*this == rhs);
}
bool Bundle::operator<(Bundle const& rhs) const {
    return std::less<detail::CoreFramework*>()(d.get(), rhs.d.get());
}
Bundle::operator bool() const {
    return static_cast<bool>(d);
}

Bundle::State Bundle::GetState() const {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    return d->state();
}

BundleContext Bundle::GetBundleContext() const {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    auto context = d->context();
    if (!context) return BundleContext();
    return BundleContext(d, std::move(context));
}

long Bundle::GetBundleId() const {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    return 0;
}

std::string Bundle::GetLocation() const {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    return "System Bundle";
}

std::string Bundle::GetSymbolicName() const {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    return "system_bundle";
}

void Bundle::Start() {
    Start(0);
}

void Bundle::Start(std::uint32_t) {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    d->start();
}

void Bundle::Stop() {
    Stop(0);
}

void Bundle::Stop(std::uint32_t) {
    if (!d) throw std::invalid_argument(kInvalidBundle);
    d->stop();
}

}  // namespace cppmicroservices
