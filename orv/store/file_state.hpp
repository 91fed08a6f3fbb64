// What the file system tells of a file. Not installed.
#pragma once

#include <orv/buffers/str.hpp>

#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

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

// Whether the folder is there in which a file of that path would be made: for a link that leads to
// no file, the folder of what it leads to.
inline bool has_folder(str_t path) {
    constexpr int most_links = 40; // as many as the system follows
    for (int links = 0; links < most_links; ++links) {
        str_t folder;
        if (const char* const slash = std::strrchr(path.c_str(), '/'))
            folder.append(path.c_str(), static_cast<unsigned long>(slash + 1 - path.c_str()));
        struct stat found;
        if (stat(folder.empty() ? "." : folder.c_str(), &found) != 0)
            return false;
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length < 0)
            return true;
        if (target[0] == '/')
            folder.clear();
        path = folder.append(target, static_cast<unsigned long>(length));
    }
    return false;
}

} // namespace ORV
