// Memory that ends at an unreadable page, so that one byte read too far is a crash.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <string>

// A copy of up to 4 MB, which ends at the last byte that can be read; valid until the next call.
inline char* copy_before_guard(const std::string& bytes) {
    constexpr unsigned long room = 4 << 20;
    static char* const start = static_cast<char*>(
        mmap(nullptr, 2 * room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(start + room, room, PROT_NONE);
    char* const at = start + room - bytes.size();
    return static_cast<char*>(std::memcpy(at, bytes.data(), bytes.size()));
}
