#include "deadline.hpp"

#include <climits>
#include <sys/times.h>
#include <unistd.h>

namespace transport {

deadline::deadline(long budget) {
    const long start = now();
    ticks_ = budget > LONG_MAX - start ? LONG_MAX : start + budget;
}

long deadline::now() {
    struct tms unused;
    return static_cast<long>(::times(&unused));
}

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
