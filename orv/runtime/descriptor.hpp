// Descriptors in a process that is not ours. Not installed.
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace runtime {

// Moves a descriptor that is 0, 1 or 2 to a higher number, where it is close-on-exec: a host that
// has closed one of these may still print to it. -1 if it cannot be moved, and for -1.
inline int behind_standard(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO)
        return descriptor;
    const int higher = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return higher;
}

} // namespace runtime
