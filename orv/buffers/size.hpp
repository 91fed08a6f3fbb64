// The limit of every size. Not installed.
#pragma once

#include <new>

namespace buffers {

// The greatest length. Half as much again, at four bytes each, plus a header does not wrap.
constexpr unsigned long longest = ~0ul / 8;

// `length`, which is at most `longest`, plus `more`, which may be anything; throws above that.
inline unsigned long sum(unsigned long length, unsigned long more) {
    if (more > longest - length)
        throw std::bad_array_new_length();
    return length + more;
}

// `size`, which may be anything; throws if it is greater than `longest`.
inline unsigned long checked(unsigned long size) { return sum(0, size); }

} // namespace buffers
