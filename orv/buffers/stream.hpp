// `stream<N>`, a builder of protocol and log text.
#pragma once

#include <orv/buffers/export.h>

#include <cstring>

// `stream<N>` for N > 0: text in N bytes inside the object. It never allocates, and cuts what would
// pass N - 1 characters without notice; made for short lines built on the stack.
//
// Threads: one at a time. Errors: none.
template <unsigned long N>
class stream {
public:
    stream() { text_[0] = 0; }

    const char* c_str() const { return text_; }
    unsigned long length() const { return length_; }
    void clear() {
        length_ = 0;
        text_[0] = 0;
    }

    // Null text changes nothing.
    stream& add(const char* text) { return text ? add(text, std::strlen(text)) : *this; }
    stream& add(char c) { return add(&c, 1); }
    stream& add(const char* bytes, unsigned long count);
    // Appends the local time `t` (seconds since the epoch, 0 for now) formatted by `strftime`, of
    // which at most 99 characters.
    stream& addtime(long t, const char* format);

private:
    char text_[N];
    unsigned long length_ = 0;
};

extern template class ORV_API stream<4096>;

// `stream<0>`: text in a shared heap block that grows.
//
//     +--------+----------+------+--------------------+---------+
//     | length | capacity | refs | capacity bytes     | 4 bytes |
//     +--------+----------+------+--------------------+---------+
//
// What a caller must know: a holder that lets a block go decrements its count, and the block goes
// back to the heap only if the count was 0 already. A new block starts at 1, so a block that was
// never shared stays allocated for the life of the process, once for every stream that is
// destroyed and once for every block that is outgrown. This is the contract of the type and is
// kept. Use few streams, ask for the room at once with `need`, and `clear` a stream to use it
// again rather than making another.
//
// Threads: none, the count is a plain counter. Errors: none are reported; if memory runs out the
// allocator's exception passes through and the stream is as it was.
template <>
class ORV_API stream<0> {
public:
    stream() = default;
    stream(const stream& other);
    stream(stream&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~stream();
    stream& operator=(const stream& other);
    stream& operator=(stream&& other) noexcept;

    // The text, terminated; never null: "" without a block. Valid until the next write.
    const char* c_str() const { return block_ ? block_->data() : ""; }
    unsigned long length() const { return block_ ? block_->length : 0; }
    // 0 without a block.
    unsigned long capacity() const { return block_ ? block_->capacity : 0; }
    // Empties the text. The block is kept for the next text unless it is shared.
    void clear();

    // Makes sure of a private block with room for `n` bytes, terminator included; 0 asks only that
    // the present text be private.
    void need(unsigned long n);

    // Null text changes nothing.
    stream& add(const char* text) { return text ? add(text, std::strlen(text)) : *this; }
    stream& add(char c) { return add(&c, 1); }
    stream& add(const char* bytes, unsigned long count);
    // Appends `v` in decimal.
    stream& add(unsigned long v);

private:
    struct block {
        unsigned long length;
        unsigned long capacity;
        long refs;

        char* data() { return reinterpret_cast<char*>(this + 1); }
    };

    // What `need` writes into: the block held, or a new one with its text. Till `adopt` the old one
    // lives on, so that what is written may come from it.
    block* roomy(unsigned long n);
    void adopt(block* next);
    static void release(block* left);

    block* block_ = nullptr;
};
