// What this process takes of the machine.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace stress {

inline long entries_of(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

struct footprint {
    long resident; // KB
    long files;    // open descriptors
    long threads;

    static footprint now() {
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages >> pages; // the second number
        return {pages * sysconf(_SC_PAGESIZE) / 1024,
                entries_of("/proc/self/fd") - 1, // without the one that this takes
                entries_of("/proc/self/task")};
    }
};

// The sanitizers hold memory back and have threads of their own, so sizes mean nothing there.
#ifdef ORV_SANITIZED
constexpr bool memory_counts = false;
#else
constexpr bool memory_counts = true;
#endif

} // namespace stress
