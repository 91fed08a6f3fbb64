// The library's threads and the host's signals. Not installed.
#pragma once

#include <csignal>

namespace runtime {

// While it lives, the calling thread blocks every signal except those of a fault, and a thread that
// it starts meanwhile does so for good: the host's handlers run on the host's threads.
class signals_blocked {
public:
    signals_blocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
            sigdelset(&all, fault);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    signals_blocked(const signals_blocked&) = delete;
    signals_blocked& operator=(const signals_blocked&) = delete;
    ~signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

} // namespace runtime
