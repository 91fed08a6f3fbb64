// Memory that ends at an unreadable page, so that one byte read too far is a crash.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <string>

// Room for one run of up to 4 MB at a time, which ends at the last byte that can be read.
class guarded_page {
public:
    guarded_page() { mprotect(start_ + room, room, PROT_NONE); }
    guarded_page(const guarded_page&) = delete;
    guarded_page& operator=(const guarded_page&) = delete;
    ~guarded_page() { munmap(start_, 2 * room); }

    // A copy of `bytes`; valid until the next call.
    char* copy(const std::string& bytes) {
        char* const at = start_ + room - bytes.size();
        return static_cast<char*>(std::memcpy(at, bytes.data(), bytes.size()));
    }

private:
    static constexpr unsigned long room = 4 << 20;
    char* const start_ = static_cast<char*>(
        mmap(nullptr, 2 * room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};
