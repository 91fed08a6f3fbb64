// What every operating system's source must do alike; built with each that can be compiled here.
#include <orv/runtime/platform.hpp>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
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

int signals_seen = 0;
void count_signal(int) { ++signals_seen; }

// What is pending for the host arrives, once, and nothing else does.
TEST(Platform, ASocketIsOursAloneAndRaisesNoSignal) {
    const struct {
        void (*handler)(int);
        bool blocked, for_thread, for_process; // pending before
        int seen;
    } rows[] = {
        {SIG_DFL, false, false, false, 0},      {SIG_IGN, false, false, false, 0},
        {count_signal, true, true, false, 1},   {count_signal, true, false, true, 1},
        {count_signal, false, false, false, 0},
    };
    sigset_t pipe, before, after;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    for (const auto& row : rows) {
        const int client = runtime::tcp_socket();
        EXPECT_GT(client, STDERR_FILENO);
        EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
        signals_seen = 0;
        std::signal(SIGPIPE, row.handler);
        pthread_sigmask(row.blocked ? SIG_BLOCK : SIG_UNBLOCK, &pipe, &before);
        if (row.for_thread)
            raise(SIGPIPE);
        if (row.for_process)
            kill(getpid(), SIGPIPE);
        EXPECT_EQ(runtime::send_without_signal(client, "x", 1), -1); // it is not connected
        EXPECT_EQ(errno, EPIPE);
        pthread_sigmask(SIG_SETMASK, &before, &after);
        EXPECT_EQ(sigismember(&after, SIGPIPE) == 1, row.blocked);
        EXPECT_EQ(signals_seen, row.seen) << row.blocked << row.for_thread << row.for_process;
        EXPECT_EQ(std::signal(SIGPIPE, SIG_DFL), row.handler);
        close(client);
    }
}

} // namespace
