#include <orv/runtime/pipe_signal.hpp>

#include <orv/runtime/platform.hpp>

#include <cerrno>
#include <sys/socket.h>

namespace runtime {

int send_without_signal(int socket, const char* bytes, int count) {
    sigset_t pipe_signal, mask;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_signal, &mask);
    // Only a signal that was blocked before can have been pending before. One that waits for the
    // thread takes in the one that `send` raises; beside one that waits for the process it is a
    // second one.
    const bool was_pending = sigismember(&mask, SIGPIPE) == 1 && is_pending_for_thread(SIGPIPE);

    const int sent = static_cast<int>(::send(socket, bytes, static_cast<size_t>(count), 0));
    const int cause = errno;
    if (sent == -1 && cause == EPIPE && !was_pending)
        discard_pending(pipe_signal);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    errno = cause;
    return sent;
}

} // namespace runtime
