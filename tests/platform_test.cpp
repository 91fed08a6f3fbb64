// What every operating system's source must do alike; built with each that can be compiled here.
#include <orv/runtime/platform.hpp>

#include <gtest/gtest.h>

#include <arpa/inet.h>

namespace {

struct blocked { // a signal, for this thread
    explicit blocked(int signal) {
        sigemptyset(&set);
        sigaddset(&set, signal);
        pthread_sigmask(SIG_BLOCK, &set, &before);
    }
    ~blocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    sigset_t set, before;
};

TEST(Platform, TheNudgeMeetsTheThreadThatIsNamed) {
    const blocked sigcont(SIGCONT);
    int signal = 0;
    runtime::nudge(pthread_self(), runtime::current_thread_id());
    EXPECT_EQ(sigwait(&sigcont.set, &signal), 0); // or waits till the test's time is over
    EXPECT_EQ(signal, SIGCONT);
}

TEST(Platform, APendingSignalIsTakenAway) {
    const blocked sigpipe(SIGPIPE);
    for (const bool is_pending : {true, false}) {
        if (is_pending)
            pthread_kill(pthread_self(), SIGPIPE);
        runtime::discard_pending(sigpipe.set);
        sigset_t pending;
        sigpending(&pending);
        EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    }
}

TEST(Platform, HostsHaveAddresses) {
    EXPECT_EQ(runtime::address_of_host("localhost"), htonl(INADDR_LOOPBACK));
    EXPECT_EQ(runtime::address_of_host("no.such.host.invalid"), 0u);
}

} // namespace
