// The clock in which time budgets are counted. Not installed.
#pragma once

#include <orv/runtime/platform.hpp>

#include <climits>

namespace runtime {

// The time at which a budget of ticks that begins now ends; the last there is for one without end.
inline long deadline(long budget) {
    long end;
    return __builtin_add_overflow(ticks(), budget, &end) ? LONG_MAX : end;
}

} // namespace runtime
