#include "foundation/msg_svc/exchange/IDType.hpp"

#include <boost/uuid/nil_generator.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace foundation::msg_svc::exchange {

IDType newID() {
    // One generator per thread: a generator is not safe to share, and seeding is costly.
    thread_local boost::uuids::random_generator generator;
    return generator();
}

IDType nilID() noexcept {
    return boost::uuids::nil_uuid();
}

std::string toString(const IDType& id) {
    return boost::uuids::to_string(id);
}

}  // namespace foundation::msg_svc::exchange
