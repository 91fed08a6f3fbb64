// Streams that are used again and again. Not installed.
//
// A stream that lets its block go leaves it allocated, with a count of 0: that is the contract of
// the type. Whoever still knows the block may let it go once more, and then it goes to the heap.
#pragma once

#include <orv/buffers/stream.hpp>

namespace buffers {

struct stream_reuse {
    // Makes room for `bytes`, terminator included, in a stream that shares its block with no other.
    // A new block has just that room, or half as much again as the one that it replaces, if that is
    // more; the old one goes to the heap.
    static void reserve(stream<0>& text, unsigned long bytes);
    // Puts bytes in the place of others, all of which are there, in such a stream.
    static void overwrite(stream<0>& text, unsigned long at, const char* bytes,
                          unsigned long count);
    // Leaves the stream, which shares its block with no other, without a block: that goes to the
    // heap.
    static void free(stream<0>& text);
};

} // namespace buffers
