// Internet addresses (IPv4 and IPv6) and host-name resolution through the system resolver
// (getaddrinfo: /etc/hosts, DNS, as the system is configured).
//
// Threads: InetAddress is an immutable value; getAllByName may be called from any thread and
// blocks for as long as the resolver takes.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "korvan/host/Export.hpp"

namespace foundation::network {

/// Resolution failed: the name is unknown, empty, or the resolver failed. what() names the
/// host and the resolver's reason.
class KORVAN_HOST_EXPORT UnknownHostException : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class KORVAN_HOST_EXPORT InetAddress {
  public:
    /// Every address of `name` (a host name or a numeric address), in the resolver's order,
    /// without repeats. Throws UnknownHostException when there is none.
    static std::vector<InetAddress> getAllByName(const std::string& name);

    /// 4 or 6.
    int getVersion() const noexcept { return fVersion; }
    /// Numeric text form: "127.0.0.1", "::1".
    std::string toString() const;
    /// The address bytes in network order: 4 bytes for IPv4, 16 for IPv6.
    std::vector<std::uint8_t> bytes() const;
    bool isLoopback() const noexcept;

    friend bool operator==(const InetAddress&, const InetAddress&) = default;

  private:
    InetAddress(int version, const std::uint8_t* bytes);

    int fVersion = 4;
    std::array<std::uint8_t, 16> fBytes{};  // the first 4 used for IPv4
};

}  // namespace foundation::network
