// The C library may have unmapped the memory behind the handle of a joined thread, so the kernel is
// asked by the thread's number: it knows whether there still is such a thread in this process.
#include <orv/runtime/nudge.hpp>

#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace runtime {

int current_thread_id() { return static_cast<int>(syscall(SYS_gettid)); }

void nudge(pthread_t, int id) {
    if (id != 0)
        syscall(SYS_tgkill, getpid(), id, SIGCONT);
}

} // namespace runtime
