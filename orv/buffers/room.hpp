// The room rule: how a block of `str_t` or `bin_t` is reused, grown, shared and released.
// Not installed; what differs between the two is given by a `Traits` type:
//
//     block       the block type
//     smallest    the least capacity a block is made with
//     spare       bytes allocated behind the capacity, which growth does not count on
//     terminated  whether a zero byte follows the data
#pragma once

#include <orv/buffers/block.hpp>

#include <cstring>
#include <new>

namespace buffers {

template <class Traits>
struct room {
    using block = typename Traits::block;

    // A new empty block with one reference.
    static block* make(unsigned long capacity) {
        constexpr unsigned long limit = ~0ul / 4;
        if (capacity > limit)
            throw std::bad_array_new_length(); // sizes below would wrap
        void* memory = new char[sizeof(block) + capacity + Traits::spare];
        block* made = static_cast<block*>(memory);
        made->release = &block::free;
        made->length = 0;
        made->capacity = capacity;
        made->refs = 1;
        return made;
    }

    // The capacity of the block that replaces `old` (which may be null) for `total` bytes.
    static unsigned long capacity_for(const block* old, unsigned long total) {
        // An empty old block counts as nothing to grow from, however much is appended: it is
        // replaced by the smallest block, or by just the room that is needed where that is more.
        // This is intended.
        if (old && old->length == 0)
            return total + 1 > Traits::smallest ? total + 1 : Traits::smallest;
        const unsigned long base = total + total / 2;
        return base < Traits::smallest ? Traits::smallest : base + 1;
    }

    // The block to write into so that it holds `total` bytes: `old` itself where it is private and
    // roomy, else a new one with the old bytes in it. The caller writes, then `adopt`s the block;
    // till then `old` lives on, so that what is written may come from it.
    static block* need(block* old, unsigned long total) {
        // The test is strict on purpose: a block is reused only if a byte stays free behind the
        // terminator.
        if (old && old->refs <= 1 && old->capacity > total + 1)
            return old;
        if (total > ~0ul / 8)
            throw std::bad_array_new_length();
        block* made = make(capacity_for(old, total));
        if (old && old->length > 0) {
            std::memcpy(made->data(), old->data(), old->length + 1); // and the byte behind
            made->length = old->length;
        } else {
            made->data()[0] = 0;
        }
        return made;
    }

    // Lets `held` point at `next`, releasing what it pointed at if that is another block.
    static void adopt(block*& held, block* next) {
        if (next == held)
            return;
        release(held);
        held = next;
    }

    static block* share(block* held) {
        if (held)
            ++held->refs;
        return held;
    }

    static void release(block*& held) {
        block* left = held;
        held = nullptr;
        if (left && left->refs-- == 1 && left->release)
            left->release(left); // NOLINT(*MismatchedDeallocator): this free is our own
    }

    static void terminate([[maybe_unused]] block* at) {
        if constexpr (Traits::terminated)
            at->data()[at->length] = 0;
    }

    static void append(block*& held, const char* bytes, unsigned long count) {
        if (!bytes || count == 0)
            return;
        const unsigned long length = held ? held->length : 0;
        block* to = need(held, length + count);
        std::memcpy(to->data() + length, bytes, count);
        to->length = length + count;
        terminate(to);
        adopt(held, to);
    }

    // The same for `count` of `Copied` bytes, all of which are copied: those too many into the
    // spare bytes, at worst.
    template <unsigned long Copied>
    static void append(block*& held, const char* bytes, unsigned long count) {
        static_assert(Copied <= Traits::spare);
        if (count == 0)
            return;
        const unsigned long length = held ? held->length : 0;
        block* to = need(held, length + count);
        std::memcpy(to->data() + length, bytes, Copied);
        to->length = length + count;
        terminate(to);
        adopt(held, to);
    }

    static void append(block*& held, char byte) {
        const unsigned long length = held ? held->length : 0;
        block* to = need(held, length + 1);
        to->data()[length] = byte;
        to->length = length + 1;
        terminate(to);
        adopt(held, to);
    }

    // Writes a byte in place; behind the length there is no place, and nothing happens.
    static void put(block*& held, unsigned long index, char byte) {
        if (!held || index >= held->length)
            return;
        adopt(held, need(held, held->length));
        held->data()[index] = byte;
    }

    // The bytes of `from` in reverse order, in a block of their own; null for no bytes.
    static block* reversed(const block* from) {
        if (!from || from->length == 0)
            return nullptr;
        const unsigned long length = from->length;
        block* made = make(capacity_for(nullptr, length));
        const char* source = from->data() + length;
        char* target = made->data();
        for (unsigned long i = 0; i < length; ++i)
            *target++ = *--source;
        made->length = length;
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

} // namespace buffers
