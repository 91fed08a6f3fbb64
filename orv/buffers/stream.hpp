// `stream<N>`, a builder of protocol and log text.
#pragma once

#include <orv/buffers/export.h>

#include <cstring>
#include <type_traits>

namespace buffers {

struct stream_traits;
struct stream_reuse;

// Writes the local time `t` (seconds since the epoch, 0 for now), formatted by `strftime`, to `to`
// and returns its length: 0 for a null format or a result of more than 99 characters.
ORV_API unsigned long format_time(char (&to)[100], long t, const char* format);

} // namespace buffers

// `stream<N>` for N > 0: text in N bytes inside the object, terminator included. It never
// allocates, and silently cuts what exceeds N - 1 characters; it is made for short lines built on
// the stack. Any N will do; 0 is another type, below.
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

    // Null text changes nothing, with a length or without.
    stream& add(const char* text) { return text ? add(text, std::strlen(text)) : *this; }
    stream& add(char c) { return add(&c, 1); }
    stream& add(const char* bytes, unsigned long count) {
        const unsigned long room = N - 1 - length_;
        if (!bytes)
            return *this;
        if (count > room)
            count = room;
        std::memmove(text_ + length_, bytes, count); // the bytes may be our own
        length_ += count;
        text_[length_] = 0;
        return *this;
    }
    // Only `stream<0>` formats numbers; here one would be taken for a character, so none is
    // accepted.
    template <class Number, class = std::enable_if_t<std::is_arithmetic<Number>::value ||
                                                     std::is_enum<Number>::value>>
    stream& add(Number) = delete;
    // Appends the local time `t` (seconds since the epoch, 0 for now), formatted by `strftime`. A
    // result of more than 99 characters is left out entirely; one of up to 99 that does not fit is
    // cut like any other text. A null format changes nothing.
    stream& addtime(long t, const char* format) {
        char formatted[100];
        return add(formatted, buffers::format_time(formatted, t, format));
    }

private:
    char text_[N];
    unsigned long length_ = 0;
};

// `stream<0>`: text in a shared heap block that grows.
//
//     +--------+----------+------+--------------------+---------+
//     | length | capacity | refs | capacity bytes     | 4 bytes |
//     +--------+----------+------+--------------------+---------+
//
// What a caller must know: a holder that drops a block decrements its count, and the block is freed
// only if the count was 0 already. A new block starts at 1, so no block is freed, shared or not:
// each that its last holder drops, and each that is outgrown, stays allocated for the life of the
// process. This is the contract of the type and is kept. Use few streams, request the room at once
// with `need`, and `clear` a stream to reuse it rather than make another. (The web-service client
// keeps its streams from one request to the next.)
//
// Threads: not thread-safe, as the count is a plain counter. Errors: none are reported. If memory
// runs out, the allocator's exception propagates and the stream is unchanged; so does
// `std::bad_array_new_length` for a length that cannot be added to the present one.
template <>
class ORV_API stream<0> {
public:
    stream() = default;
    stream(const stream& other);
    stream(stream&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~stream();
    stream& operator=(const stream& other);
    // Leaves the other empty; it keeps this stream's old block unless that is shared.
    stream& operator=(stream&& other) noexcept;

    // The text, terminated; never null: "" without a block. Valid until the next write.
    const char* c_str() const { return block_ ? block_->data() : ""; }
    unsigned long length() const { return block_ ? block_->length : 0; }
    // 0 without a block.
    unsigned long capacity() const { return block_ ? block_->capacity : 0; }
    // Empties the text. The block is kept for the next text unless it is shared.
    void clear();

    // Ensures a private block with room for `n` bytes, terminator included; 0 only makes the
    // present text private.
    void need(unsigned long n);

    // Null text changes nothing, with a length or without. The bytes may be this stream's own.
    stream& add(const char* text) { return text ? add(text, std::strlen(text)) : *this; }
    stream& add(char c) { return add(&c, 1); }
    stream& add(const char* bytes, unsigned long count);
    // Appends a number in decimal. A `char` is a character, and any other integer a number.
    stream& add(unsigned long v);
    stream& add(long v);
    template <class Integer, class = std::enable_if_t<std::is_integral<Integer>::value>>
    stream& add(Integer v) {
        static_assert(sizeof(Integer) <= sizeof(long), "a number that would be cut");
        return add(
            static_cast<std::conditional_t<std::is_signed<Integer>::value, long, unsigned long>>(
                v));
    }

private:
    friend struct buffers::stream_traits;
    friend struct buffers::stream_reuse;

    struct block {
        unsigned long length;
        unsigned long capacity;
        long refs;

        char* data() { return reinterpret_cast<char*>(this + 1); }
        const char* data() const { return reinterpret_cast<const char*>(this + 1); }
    };

    block* block_ = nullptr;
};
