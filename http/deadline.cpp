#include "deadline.hpp"

#include <orv/runtime/ticks.hpp>

#include <unistd.h>

namespace transport {

deadline::deadline(long budget) : ticks_(runtime::deadline(budget)) {}

long deadline::now() { return runtime::ticks(); }

int deadline::milliseconds_to_wait() const {
    const long current = now();
    if (current >= ticks_)
        return 0;
    const long per_second = ::sysconf(_SC_CLK_TCK);
    const long left = ticks_ - current;
    if (left >= per_second)
        return 1000;
    return static_cast<int>((left * 1000 + per_second - 1) / per_second);
}

} // namespace transport
