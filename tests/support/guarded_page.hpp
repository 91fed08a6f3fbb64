// Memory that ends at an unreadable page, so that one byte read too far is a crash.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <string>

// Room for one text or one run of bytes at a time: each is placed so that its last byte (for a
// text, its terminator) is the last one that can be read.
class guarded_page {
public:
    guarded_page() = default;
    guarded_page(const guarded_page&) = delete;
    guarded_page& operator=(const guarded_page&) = delete;
    ~guarded_page() { unmap(); }

    // A copy of `text` with its terminator; valid until the next call.
    char* text(const std::string& text) { return bytes(text.c_str(), text.size() + 1); }

    // A copy of `count` bytes; valid until the next call.
    char* bytes(const char* bytes, unsigned long count) {
        if (count > room_)
            map(count);
        char* at = start_ + room_ - count;
        if (count > 0)
            std::memcpy(at, bytes, count);
        return at;
    }

private:
    void map(unsigned long count) {
        unmap();
        const unsigned long page = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
        const unsigned long room = (count + page - 1) / page * page;
        void* start =
            mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (start == MAP_FAILED)
            throw std::bad_alloc();
        start_ = static_cast<char*>(start);
        room_ = room;
        mapped_ = room + page;
        if (mprotect(start_ + room, page, PROT_NONE) != 0)
            throw std::bad_alloc();
    }

    void unmap() {
        if (start_)
            munmap(start_, mapped_);
        start_ = nullptr;
        room_ = mapped_ = 0;
    }

    char* start_ = nullptr;
    unsigned long room_ = 0;
    unsigned long mapped_ = 0;
};
