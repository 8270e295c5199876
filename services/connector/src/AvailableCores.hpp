// How many cores this process may run on: the CPUs of its affinity mask (taskset, a
// container's cpuset), not every CPU of the machine, so that defaults sized by cores (function
// workers, I/O threads) do not oversubscribe the cores the process actually gets.
//
// Threads: any.
#pragma once

namespace korvan::services::connector::detail {

unsigned availableCores() noexcept;

}  // namespace korvan::services::connector::detail
