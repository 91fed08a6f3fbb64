// What this process takes of the machine.
#pragma once

#include <cstdio>
#include <dirent.h>
#include <unistd.h>

namespace stress {

inline int entries_of(const char* directory) {
    DIR* open = opendir(directory);
    if (!open)
        return -1;
    int count = -3; // ".", "..", and the descriptor that this takes
    while (readdir(open))
        ++count;
    closedir(open);
    return count;
}

struct footprint {
    long resident; // KB
    int files;     // open descriptors
    int threads;

    static footprint now() {
        long pages = 0;
        if (std::FILE* from = std::fopen("/proc/self/statm", "r")) {
            if (std::fscanf(from, "%*d %ld", &pages) != 1)
                pages = 0;
            std::fclose(from);
        }
        return {pages * sysconf(_SC_PAGESIZE) / 1024, entries_of("/proc/self/fd"),
                entries_of("/proc/self/task") + 1};
    }
};

// The sanitizers hold memory back and have threads of their own, so sizes mean nothing there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memory_counts = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool memory_counts = false;
#else
constexpr bool memory_counts = true;
#endif
#else
constexpr bool memory_counts = true;
#endif

} // namespace stress
