#include <orv/runtime/deadline.hpp>

#include <orv/runtime/platform.hpp>

#include <climits>
#include <unistd.h>

namespace runtime {

namespace {

long end_of(long budget) {
    long end;
    return __builtin_add_overflow(ticks(), budget, &end) ? LONG_MAX : end;
}

} // namespace

deadline::deadline(long budget)
    : ticks_(end_of(budget)), begin_(std::chrono::steady_clock::now()),
      seconds_(static_cast<double>(budget) / static_cast<double>(::sysconf(_SC_CLK_TCK))) {}

long deadline::now() { return runtime::ticks(); }

int deadline::milliseconds_to_wait() const {
    const std::chrono::duration<double> gone = std::chrono::steady_clock::now() - begin_;
    const double left = seconds_ - gone.count();
    return left >= 1 ? 1000 : left > 0 ? static_cast<int>(left * 1000) + 1 : 1;
}

} // namespace runtime
