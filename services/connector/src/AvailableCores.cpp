#include "AvailableCores.hpp"

#include <sched.h>

#include <thread>

namespace korvan::services::connector::detail {

unsigned availableCores() noexcept {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) == 0) {
        const int n = CPU_COUNT(&set);
        if (n > 0) return static_cast<unsigned>(n);
    }
    const unsigned all = std::thread::hardware_concurrency();
    return all > 0 ? all : 1;
}

}  // namespace korvan::services::connector::detail
