// What the file system tells of a file. Not installed.
#pragma once

#include <cerrno>
#include <sys/stat.h>

namespace ORV {

struct file_state {
    bool absent; // there is no such file
    bool empty;  // there is one, without a byte in it
    long time;   // of its last modification, in seconds; 0 if that cannot be had, or it is no
                 // ordinary file
};

inline file_state state_of(const char* path) {
    struct stat found;
    if (stat(path, &found) != 0)
        return {errno == ENOENT || errno == ENOTDIR, false, 0};
    if (!S_ISREG(found.st_mode)) // a pipe, which would keep its reader waiting
        return {false, false, 0};
    return {false, found.st_size == 0, static_cast<long>(found.st_mtime)};
}

} // namespace ORV
