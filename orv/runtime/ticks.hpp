// The clock in which time budgets are counted. Not installed.
#pragma once

#include <climits>
#include <sys/times.h>

namespace runtime {

// Ticks of the system's times() clock, sysconf(_SC_CLK_TCK) of them a second.
inline long ticks() {
    tms unused; // not every system takes a null pointer
    return static_cast<long>(times(&unused));
}

// The time at which a budget of ticks that begins now ends; the last there is for one without end.
inline long deadline(long budget) {
    long end;
    return __builtin_add_overflow(ticks(), budget, &end) ? LONG_MAX : end;
}

} // namespace runtime
