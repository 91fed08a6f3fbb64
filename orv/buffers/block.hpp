// The shared, counted block behind `str_t` and `bin_t`. How it grows is in room.hpp.
//
//     +---------+--------+----------+------+----------------------------+-------+
//     | release | length | capacity | refs | capacity bytes             | spare |
//     +---------+--------+----------+------+----------------------------+-------+
//     ^ the block, one array allocation    ^ data()
//
// A handle is one pointer to a block; a null pointer is the empty value. Copies share the block,
// and a write to a shared block makes a private copy.
#pragma once

namespace buffers {

// The header of a block. `Block` is the type derived from it, so that each kind of handle has a
// block type (and a release function) of its own.
template <class Block>
struct block_header {
    void (*release)(Block*); // frees the block when its last reference is dropped
    unsigned long length;    // bytes held, without the terminator
    unsigned long capacity;  // bytes of room after the header
    long refs;               // handles that point here; a plain counter, not thread-safe

    char* data() { return reinterpret_cast<char*>(this + 1); }
    const char* data() const { return reinterpret_cast<const char*>(this + 1); }
};

// One byte of a buffer, read or written by index: reading leaves a shared block shared, and only an
// assignment makes it private.
template <class Buffer>
class indexed {
public:
    indexed(Buffer& buffer, unsigned long index) : buffer_(buffer), index_(index) {}
    // Written out, so that Clang rejects it as a variadic argument, as in `printf`; GCC accepts it,
    // and only its format check (-Wformat) warns.
    indexed(const indexed& other) : buffer_(other.buffer_), index_(other.index_) {} // NOLINT
    operator char() const { return static_cast<const Buffer&>(buffer_)[index_]; }
    indexed& operator=(char c) {
        buffer_.put(index_, c);
        return *this;
    }
    indexed& operator=(const indexed& other) {
        buffer_.put(index_, other);
        return *this;
    }

private:
    Buffer& buffer_;
    unsigned long index_;
};

} // namespace buffers
