// There is no sigtimedwait here; sigwait returns at once for a signal that is known to be pending.
#include <orv/runtime/pipe_signal.hpp>

namespace runtime {

void discard_pending(const sigset_t& pipe_signal) {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    int taken;
    if (sigismember(&pending, SIGPIPE) == 1)
        sigwait(&pipe_signal, &taken);
}

} // namespace runtime
