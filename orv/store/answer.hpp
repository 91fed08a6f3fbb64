// Returning texts to a caller in C. Not installed.
#pragma once

#include <orv/buffers/text.hpp>

#include <algorithm>
#include <climits>
#include <cstring>

namespace ORV {

// Copies as much of a text as there is room for, including a NUL after it, and returns the length
// of the whole text. For a null text the copy is empty and -1 is returned. With a null `buf` or a
// `size` below 1 nothing is copied. The text may lie in `buf`.
inline int answer(const char* text, char* buf, int size) {
    const char* const from = buffers::or_empty(text);
    const unsigned long length = std::strlen(from);
    if (buf && size > 0) {
        const unsigned long copied = std::min(length, static_cast<unsigned long>(size) - 1);
        std::memmove(buf, from, copied);
        buf[copied] = 0;
    }
    return text ? static_cast<int>(std::min<unsigned long>(length, INT_MAX)) : -1;
}

} // namespace ORV
