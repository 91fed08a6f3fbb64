// Memory that ends at an unreadable page, so that one byte read too far is a crash.
#pragma once

#include <sys/mman.h>

#include <cstring>
#include <new>
#include <string>

// Room for one text or one run of bytes of up to 4 MB at a time: each is placed so that its last
// byte (for a text, its terminator) is the last one that can be read.
class guarded_page {
public:
    guarded_page() {
        if (start_ == MAP_FAILED || mprotect(start_ + room, room, PROT_NONE) != 0)
            throw std::bad_alloc();
    }
    guarded_page(const guarded_page&) = delete;
    guarded_page& operator=(const guarded_page&) = delete;
    ~guarded_page() { munmap(start_, 2 * room); }

    // A copy of `text` with its terminator; valid until the next call.
    char* text(const std::string& text) { return bytes(text.c_str(), text.size() + 1); }

    // A copy of `count` bytes; valid until the next call.
    char* bytes(const char* bytes, unsigned long count) {
        if (count > room)
            throw std::bad_alloc();
        char* const at = start_ + room - count;
        return count > 0 ? static_cast<char*>(std::memcpy(at, bytes, count)) : at;
    }

private:
    static constexpr unsigned long room = 4 << 20;
    char* start_ = static_cast<char*>(
        mmap(nullptr, 2 * room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};
