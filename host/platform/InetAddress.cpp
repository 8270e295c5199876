// InetAddress on the system resolver (getaddrinfo) and inet_ntop.
#include <foundation/network/InetAddress.hpp>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

namespace foundation::network {

InetAddress::InetAddress(int version, const std::uint8_t* bytes) : fVersion(version) {
    std::copy_n(bytes, version == 4 ? 4 : 16, fBytes.begin());
}

std::vector<InetAddress> InetAddress::getAllByName(const std::string& name) {
    if (name.empty()) {
        throw UnknownHostException("cannot resolve an empty host name");
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address instead of one per socket type
    addrinfo* found = nullptr;
    const int rc = ::getaddrinfo(name.c_str(), nullptr, &hints, &found);
    if (rc != 0) {
        throw UnknownHostException("cannot resolve host '" + name + "': " + ::gai_strerror(rc));
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> guard(found, &::freeaddrinfo);

    std::vector<InetAddress> addresses;
    for (const addrinfo* ai = found; ai != nullptr; ai = ai->ai_next) {
        std::optional<InetAddress> address;
        if (ai->ai_family == AF_INET) {
            const auto* in = reinterpret_cast<const sockaddr_in*>(ai->ai_addr);
            address = InetAddress(4, reinterpret_cast<const std::uint8_t*>(&in->sin_addr));
        } else if (ai->ai_family == AF_INET6) {
            const auto* in6 = reinterpret_cast<const sockaddr_in6*>(ai->ai_addr);
            address = InetAddress(6, reinterpret_cast<const std::uint8_t*>(&in6->sin6_addr));
        }
        if (address && std::find(addresses.begin(), addresses.end(), *address) == addresses.end()) {
            addresses.push_back(*address);
        }
    }
    if (addresses.empty()) {
        throw UnknownHostException("host '" + name + "' has no internet address");
    }
    return addresses;
}

std::string InetAddress::toString() const {
    char text[INET6_ADDRSTRLEN] = {};
    ::inet_ntop(fVersion == 4 ? AF_INET : AF_INET6, fBytes.data(), text, sizeof text);
    return text;
}

std::vector<std::uint8_t> InetAddress::bytes() const {
    return {fBytes.begin(), fBytes.begin() + (fVersion == 4 ? 4 : 16)};
}

bool InetAddress::isLoopback() const noexcept {
    if (fVersion == 4) {
        return fBytes[0] == 127;
    }
    static constexpr std::uint8_t kLoopback6[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return std::memcmp(fBytes.data(), kLoopback6, 16) == 0;
}

}  // namespace foundation::network
