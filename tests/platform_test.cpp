// What every operating system's source must do alike; built with each that can be compiled here.
#include <orv/runtime/platform.hpp>

#include "support/scripted_server.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#ifdef SO_NOSIGPIPE
// The rule of macOS: the process gets the signal, unless the socket is made not to raise it.
namespace {
int quiet_socket = -1;
} // namespace

extern "C" int setsockopt(int socket, int, int option, const void*, socklen_t) noexcept {
    if (option == SO_NOSIGPIPE)
        quiet_socket = socket;
    return 0;
}
extern "C" ssize_t send(int socket, const void* bytes, size_t count, int) {
    const ssize_t sent = sendto(socket, bytes, count, MSG_NOSIGNAL, nullptr, 0);
    if (sent == -1 && socket != quiet_socket)
        kill(getpid(), SIGPIPE);
    return sent;
}
#endif

namespace {

TEST(Platform, TheNudgeReachesTheThreadThatIsNamed) {
    sigset_t nudge, before;
    sigemptyset(&nudge);
    sigaddset(&nudge, SIGCONT);
    pthread_sigmask(SIG_BLOCK, &nudge, &before);
    runtime::nudge(pthread_self(), runtime::current_thread_id());
    int signal = 0;
    EXPECT_EQ(sigwait(&nudge, &signal), 0);
    EXPECT_EQ(signal, SIGCONT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

std::atomic<int> signals_seen{0};

// The host has another thread, which blocks nothing.
TEST(Platform, ASocketIsOursAloneAndRaisesNoSignal) {
    std::signal(SIGPIPE, [](int) { ++signals_seen; });
    std::atomic<bool> is_over{false};
    std::thread other([&] {
        while (!is_over)
            usleep(100);
    });
    unsigned short port;
    const int listener = support::bind_loopback(port);
    ASSERT_EQ(listen(listener, 1), 0);
    const int client = runtime::tcp_socket();
    EXPECT_GT(client, STDERR_FILENO);
    EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
    sockaddr_in address{};
    socklen_t size = sizeof address;
    const auto generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(getsockname(listener, generic, &size), 0);
    ASSERT_EQ(connect(client, generic, size), 0);
    close(accept(listener, nullptr, nullptr));
    for (int sent = 1; sent > 0; usleep(1000)) // until it is known that nobody is there
        sent = runtime::send_without_signal(client, "x", 1);
    EXPECT_EQ(errno, EPIPE);
    is_over = true;
    other.join();
    EXPECT_EQ(signals_seen, 0);
    close(client);
    close(listener);
    std::signal(SIGPIPE, SIG_DFL);
}

} // namespace
