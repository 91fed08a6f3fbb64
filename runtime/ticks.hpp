// The clock in which time budgets are counted. Not installed.
#pragma once

#include <sys/times.h>

namespace runtime {

// Ticks of the system's times() clock, sysconf(_SC_CLK_TCK) of them a second.
inline long ticks() {
    tms unused; // not every system takes a null pointer
    return static_cast<long>(times(&unused));
}

} // namespace runtime
