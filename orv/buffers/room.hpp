// The room rule: how a block is made, reused, grown, shared and released. Not installed.
//
// What differs from one kind of handle to another is given by a `Traits` type:
//
//     block                      the block type: `length`, `capacity`, `refs`, `data()`
//     spare                      bytes beyond the capacity, which growth ignores
//     terminated                 whether a zero byte follows the data
//     fits(block, total)         whether a private block is written in place to hold `total` bytes
//     capacity_for(old, total)   the capacity of the block that replaces `old` (may be null)
//     begin(block)               fills in the other fields of a new block
//     release(block)             drops one reference
#pragma once

#include <orv/buffers/block.hpp>
#include <orv/buffers/size.hpp>

#include <algorithm>
#include <cstring>

namespace buffers {

template <class Traits>
struct room : Traits {
    using block = typename Traits::block;

    // A new empty block with one reference.
    static block* make(unsigned long capacity) {
        void* memory = new char[sizeof(block) + capacity + Traits::spare];
        block* made = static_cast<block*>(memory);
        made->length = 0;
        made->capacity = capacity;
        made->refs = 1;
        Traits::begin(made);
        return made;
    }

    // The block to write into so that it holds `total` bytes: `old` itself if it is private and has
    // room, otherwise a new one with a copy of the old bytes. The caller writes, then `adopt`s the
    // block; until then `old` stays valid, so that the bytes written may come from it.
    static block* need(block* old, unsigned long total) {
        if (old && old->refs <= 1 && Traits::fits(old, total))
            return old;
        block* made = make(Traits::capacity_for(old, total));
        if (old && old->length > 0) {
            std::memcpy(made->data(), old->data(), old->length + 1); // and one more
            made->length = old->length;
        } else {
            made->data()[0] = 0;
        }
        return made;
    }

    // Points `held` at `next` and drops the block it pointed at, unless that is the same.
    static void adopt(block*& held, block* next) {
        if (next == held)
            return;
        drop(held);
        held = next;
    }

    static block* share(block* held) {
        if (held)
            ++held->refs;
        return held;
    }

    // Makes `held` share another block in place of its own; the two may be the same.
    static void share_instead(block*& held, block* other) {
        block* const next = share(other);
        drop(held);
        held = next;
    }

    static void drop(block*& held) {
        block* left = held;
        held = nullptr;
        if (left)
            Traits::release(left);
    }

    static void terminate([[maybe_unused]] block* at) {
        if constexpr (Traits::terminated)
            at->data()[at->length] = 0;
    }

    // Extends `held` by `count` bytes, which `write` stores at the address it is given.
    template <class Write>
    static void extend(block*& held, unsigned long count, Write write) {
        const unsigned long length = held ? held->length : 0;
        block* to = need(held, sum(length, count));
        write(to->data() + length);
        to->length = length + count;
        terminate(to);
        adopt(held, to);
    }

    // The bytes may be those of `held`, its terminator included.
    static void append(block*& held, const char* bytes, unsigned long count) {
        if (bytes && count > 0)
            extend(held, count, [=](char* end) { std::memmove(end, bytes, count); });
    }

    static void append(block*& held, char byte) {
        extend(held, 1, [=](char* end) { *end = byte; });
    }

    // Overwrites one byte; at or beyond the length, does nothing.
    static void put(block*& held, unsigned long index, char byte) {
        if (!held || index >= held->length)
            return;
        adopt(held, need(held, held->length));
        held->data()[index] = byte;
    }

    // The bytes of `from` in reverse order, in a block of their own; null if there are none.
    static block* reversed(const block* from) {
        if (!from || from->length == 0)
            return nullptr;
        block* made = make(Traits::capacity_for(nullptr, from->length));
        std::reverse_copy(from->data(), from->data() + from->length, made->data());
        made->length = from->length;
        terminate(made);
        return made;
    }

    static bool equal(const block* a, const block* b) {
        const unsigned long length = a ? a->length : 0;
        if (length != (b ? b->length : 0))
            return false;
        return length == 0 || std::memcmp(a->data(), b->data(), length) == 0;
    }
};

// What text and bytes have in common.
template <class Block, unsigned long Smallest>
struct value_traits {
    using block = Block;

    // The test is strict on purpose: a block is reused only if a byte after the terminator stays
    // free.
    static bool fits(const block* at, unsigned long total) { return at->capacity > total + 1; }

    static unsigned long capacity_for(const block* old, unsigned long total) {
        // An empty old block is not grown from, however much is appended: it is replaced by the
        // smallest block, or by one with just the room that is needed if that is more. This keeps
        // texts that are emptied and reused small.
        if (old && old->length == 0)
            return total + 1 > Smallest ? total + 1 : Smallest;
        const unsigned long base = total + total / 2;
        return base < Smallest ? Smallest : base + 1;
    }

    static void begin(block* made) { made->release = &block::free; }

    static void release(block* left) {
        if (left->refs-- == 1 && left->release)
            left->release(left); // NOLINT(*MismatchedDeallocator): this free is our own
    }
};

} // namespace buffers
