// The point in time at which an operation gives up. Not installed.
#pragma once

#include <chrono>

namespace runtime {

// A point on the clock of `times()`, which counts ticks. How long to wait for it is computed from a
// clock that can be read without a system call.
class deadline {
public:
    // `budget` ticks from now; never, if that is later than the clock can show.
    explicit deadline(long budget);

    static long now();
    long ticks() const { return ticks_; }
    bool passed() const { return now() >= ticks_; }
    // How long to wait before looking at the clock again: at least a millisecond, never more than a
    // second, and never more than a tick longer than what is left.
    int milliseconds_to_wait() const;

private:
    long ticks_;
    std::chrono::steady_clock::time_point begin_;
    double seconds_; // from `begin_` on
};

} // namespace runtime
