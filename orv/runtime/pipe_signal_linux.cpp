#include <orv/runtime/pipe_signal.hpp>

#include <cerrno>

namespace runtime {

void discard_pending(const sigset_t& pipe_signal) {
    const timespec at_once{};
    while (sigtimedwait(&pipe_signal, nullptr, &at_once) == -1 && errno == EINTR) {
    }
}

} // namespace runtime
