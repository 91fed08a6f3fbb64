// What every operating system's source must do alike; built with each that can be compiled here.
#include <orv/runtime/platform.hpp>

#include <gtest/gtest.h>

#include <netinet/in.h>

namespace {

TEST(Platform, SignalsReachTheThreadThatIsNamedAndAreTakenAway) {
    sigset_t both, sigpipe, before;
    sigemptyset(&both);
    sigaddset(&both, SIGPIPE);
    sigpipe = both;
    sigaddset(&both, SIGCONT);
    pthread_sigmask(SIG_BLOCK, &both, &before);
    pthread_kill(pthread_self(), SIGPIPE);
    runtime::discard_pending(sigpipe);
    runtime::discard_pending(sigpipe); // there is none, and no wait for one
    runtime::nudge(pthread_self(), runtime::current_thread_id());
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    int signal = 0;
    EXPECT_EQ(sigwait(&both, &signal), 0);
    EXPECT_EQ(signal, SIGCONT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(Platform, HostsHaveAddresses) {
    EXPECT_EQ(runtime::address_of_host("127.0.0.1"), htonl(INADDR_LOOPBACK));
    EXPECT_EQ(runtime::address_of_host("no.such.host.invalid"), 0u);
}

} // namespace
