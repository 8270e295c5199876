#include "foundation/msg_svc/exchange/IDType.hpp"

#include <boost/uuid/nil_generator.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace foundation::msg_svc::exchange {

IDType newID() {
    // One generator per thread: a generator is not safe to share, and seeding is costly.
    // Mersenne twister seeded once from the system's entropy: task identifiers need to be
    // unique, not unpredictable, and Boost's default generator asks the kernel for 16 bytes
    // on every call (a system call per posted task, so per call arriving over HTTPS).
    thread_local boost::uuids::random_generator_mt19937 generator;
    return generator();
}

IDType nilID() noexcept {
    return boost::uuids::nil_uuid();
}

std::string toString(const IDType& id) {
    return boost::uuids::to_string(id);
}

}  // namespace foundation::msg_svc::exchange
