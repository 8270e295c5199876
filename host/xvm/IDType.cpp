#include "foundation/msg_svc/exchange/IDType.hpp"

#include <cstdint>
#include <random>

#include <boost/uuid/nil_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace foundation::msg_svc::exchange {

IDType newID() {
    // Task identifiers need to be unique, not unpredictable: a Mersenne twister per thread,
    // seeded once from the system's entropy, instead of a kernel call per posted task (so per
    // call arriving over HTTPS). std::mt19937_64 is trivially destructible, so a task posted
    // while a thread's thread_local objects are being destroyed still gets a valid generator.
    thread_local std::mt19937_64 engine{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    IDType id;
    const std::uint64_t halves[2] = {engine(), engine()};
    for (int i = 0; i < 16; ++i)
        id.data[i] = static_cast<std::uint8_t>(halves[i / 8] >> (8 * (i % 8)));
    // A random (version 4, RFC 4122 variant) UUID, as Boost's generators make.
    id.data[6] = static_cast<std::uint8_t>((id.data[6] & 0x0F) | 0x40);
    id.data[8] = static_cast<std::uint8_t>((id.data[8] & 0x3F) | 0x80);
    return id;
}

IDType nilID() noexcept {
    return boost::uuids::nil_uuid();
}

std::string toString(const IDType& id) {
    return boost::uuids::to_string(id);
}

}  // namespace foundation::msg_svc::exchange
