// Streams that are reused. Not installed.
//
// A stream that drops its block leaves it allocated, with a count of 0: that is the contract of the
// type. Code that still knows the block may drop it once more, and then it is freed.
#pragma once

#include <orv/buffers/stream.hpp>

namespace buffers {

struct stream_reuse {
    // Makes room for `bytes`, terminator included, in a stream that shares its block with no other.
    // A new block has just that room, or half as much again as the one it replaces, if that is
    // more; the old one is freed.
    static void reserve(stream<0>& text, unsigned long bytes);
    // Overwrites bytes of such a stream, all of which must exist.
    static void overwrite(stream<0>& text, unsigned long at, const char* bytes,
                          unsigned long count);
    // Frees the block of such a stream and leaves the stream without one.
    static void free(stream<0>& text);
};

} // namespace buffers
