#include <orv/http/deadline.hpp>

#include <orv/runtime/ticks.hpp>

#include <unistd.h>

namespace transport {

deadline::deadline(long budget)
    : ticks_(runtime::deadline(budget)), begin_(std::chrono::steady_clock::now()),
      seconds_(static_cast<double>(budget) / static_cast<double>(::sysconf(_SC_CLK_TCK))) {}

long deadline::now() { return runtime::ticks(); }

int deadline::milliseconds_to_wait() const {
    const std::chrono::duration<double> gone = std::chrono::steady_clock::now() - begin_;
    const double left = seconds_ - gone.count();
    return left >= 1 ? 1000 : left > 0 ? static_cast<int>(left * 1000) + 1 : 1;
}

} // namespace transport
