// The point in time at which an exchange gives up. Not installed.
#pragma once

namespace transport {

// A point on the clock of `times()`, which counts ticks.
class deadline {
public:
    // `budget` ticks from now.
    explicit deadline(long budget);

    static long now();
    long ticks() const { return ticks_; }
    bool passed() const { return now() >= ticks_; }
    // How long to wait before looking at the clock again: never more than a second, and never much
    // longer than what is left; 0 once the deadline has passed.
    int milliseconds_to_wait() const;

private:
    long ticks_;
};

} // namespace transport
