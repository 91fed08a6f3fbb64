// Room in a stream of just the size that is wanted. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>

#include <algorithm>

namespace transport {

// Makes room for `bytes`, terminator included. A stream makes its blocks half as large again as it
// is asked for, and its blocks stay allocated; so two thirds are asked for.
inline void reserve(stream<0>& text, unsigned long bytes) {
    if (text.capacity() < bytes)
        text.need(std::max(bytes - bytes / 3, text.capacity() + 1));
}

} // namespace transport
