// ListenerToken: identifies one listener added to a bundle context, for RemoveListener. Move-only;
// a default or moved-from token is false.
#pragma once

#include <cppmicroservices/GlobalConfig.h>

#include <cstdint>

namespace cppmicroservices {

class BundleContext;

class US_Framework_EXPORT ListenerToken {
  public:
    ListenerToken();
    ListenerToken(ListenerToken const&) = delete;
    ListenerToken& operator=(ListenerToken const&) = delete;
    ListenerToken(ListenerToken&& other) noexcept;
    ListenerToken& operator=(ListenerToken&& other) noexcept;
    // No destructor: like the installed library's token it is trivially destructible (a token
    // does not remove its listener), so an unused token draws the compiler's warning here too.

    explicit operator bool() const;

  private:
    friend class BundleContext;

    explicit ListenerToken(std::int64_t id);
    std::int64_t Id() const;

    std::int64_t fId;
};

}  // namespace cppmicroservices
