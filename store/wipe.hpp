// Overwriting secrets. Not installed.
#pragma once

#include <orv/buffers/str.hpp>

#include <cstring>

// Zeros memory that is not used afterwards; the compiler may not drop the store.
inline void wipe(void* memory, unsigned long size) {
    std::memset(memory, 0, size);
    __asm__ __volatile__("" : : "r"(memory) : "memory");
}

// The same for a text that no other string shares.
inline void wipe(str_t& text) {
    for (unsigned long i = 0; i < text.length(); ++i)
        text.put(i, 0);
}
