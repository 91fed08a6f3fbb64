// Overwriting secrets. Not installed.
#pragma once

#include <orv/buffers/str.hpp>

#include <cstring>

namespace ORV {

// Zeros memory that is not used afterwards; the compiler cannot remove the store.
inline void wipe(void* memory, unsigned long size) {
    std::memset(memory, 0, size);
    __asm__ __volatile__("" : : "r"(memory) : "memory");
}

// The same for a text, unless another string shares it.
inline void wipe(str_t& text) {
    if (text.block() && text.block()->refs == 1)
        wipe(const_cast<char*>(text.c_str()), text.length());
}

} // namespace ORV
