// The limit of every size. Not installed.
#pragma once

#include <new>

namespace buffers {

// Nothing is longer. Half as much again, four bytes for each, and a header besides do not wrap.
constexpr unsigned long longest = ~0ul / 8;

// `length` and `more`, of which the former is a length that exists and the latter may be anything.
inline unsigned long sum(unsigned long length, unsigned long more) {
    if (more > longest - length)
        throw std::bad_array_new_length();
    return length + more;
}

// A size, which may be anything.
inline unsigned long checked(unsigned long size) { return sum(0, size); }

} // namespace buffers
