// Pauses: one that lasts its full time, and one that another thread can cut short. Not installed.
#pragma once

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <unistd.h>

namespace runtime {

// Sleeps for at least `time`, which must be less than a second, whatever signals arrive.
inline void sleep(std::chrono::microseconds time) {
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + time;
    while (time.count() > 0 && usleep(static_cast<useconds_t>(time.count())) != 0 && errno == EINTR)
        time = std::chrono::ceil<std::chrono::microseconds>(end - steady_clock::now());
}

// A pause that another thread can end. Threads: one calls `wait`; another may call `interrupt`.
class pause {
public:
    // Waits. Returns false if the pause was interrupted, before or during the wait.
    bool wait(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(mutex_);
        return !interrupted_.wait_for(lock, time, [this] { return is_over_; });
    }
    // Ends this pause and every later one at once.
    void interrupt() {
        const std::lock_guard<std::mutex> lock(mutex_);
        is_over_ = true;
        interrupted_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable interrupted_;
    bool is_over_ = false;
};

} // namespace runtime
