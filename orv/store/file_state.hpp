// What the file system tells of a file. Not installed.
#pragma once

#include <orv/buffers/str.hpp>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace ORV {

struct file_state {
    bool absent;   // there is nothing of that name
    bool ordinary; // there is a file, and no pipe, device or directory
    bool empty;    // an ordinary file without a byte in it
    long time;     // of its last modification, in seconds; 0 if that cannot be had
};

inline file_state state_of(const char* path) {
    struct stat found;
    if (stat(path, &found) != 0)
        return {errno == ENOENT, false, false, 0};
    if (!S_ISREG(found.st_mode))
        return {false, false, false, 0};
    return {false, true, found.st_size == 0, static_cast<long>(found.st_mtime)};
}

inline bool is_ordinary(int descriptor) {
    struct stat found;
    return fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode);
}

// Whether the folder is there in which a file of that path would be made.
inline bool has_folder(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    str_t folder("./");
    if (slash) {
        folder.clear();
        folder.append(path, static_cast<unsigned long>(slash + 1 - path));
    }
    struct stat found;
    return stat(folder.c_str(), &found) == 0;
}

} // namespace ORV
