// What the base64 and base32 codecs share. Not installed.
//
// Both cut a bit stream into values of a few bits and write each value as a character of an
// alphabet. The fewest bytes that make a whole number of values form a group: three bytes or four
// characters in base64, five bytes or eight characters in base32. Groups that nothing interrupts
// (no separator, no blank) are converted by a plain inner loop, everything else one character at a
// time.
//
// The result is written to a block that is allocated once, with the capacity that it would have
// reached had the result been appended byte by byte.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>

namespace buffers {

// The block that appending `length` bytes one by one would leave, except for the bytes themselves;
// null if there are none.
template <class Room>
typename Room::block* make_appended(unsigned long length) {
    if (length == 0)
        return nullptr;
    unsigned long capacity = Room::capacity_for(nullptr, 1);
    while (capacity <= length + 1) // at `capacity` - 1 bytes a block is outgrown
        capacity = Room::capacity_for(nullptr, capacity - 1);
    typename Room::block* made = Room::make(capacity);
    made->length = length;
    Room::terminate(made);
    return made;
}

// The group of bytes and characters for values of `Bits` bits.
template <unsigned Bits>
struct codec_group {
    static constexpr unsigned long bytes = std::lcm(8u, Bits) / 8;
    static constexpr unsigned long values = std::lcm(8u, Bits) / Bits;

    static std::uint64_t gather(const unsigned char* data) {
        std::uint64_t bits = 0;
        for (unsigned long i = 0; i < bytes; ++i)
            bits = bits << 8 | data[i];
        return bits;
    }

    static void scatter(std::uint64_t bits, char* to, unsigned long count) {
        for (unsigned long i = 0; i < count; ++i)
            to[i] = static_cast<char>(bits >> (8 * (bytes - 1 - i)));
    }
};

// Writes characters, with a separator between runs of `line` of them.
template <unsigned Bits>
class encoder {
public:
    // `to` must have room for everything that will be written. `line` 0 gives one line without
    // separators; `separator` may be empty.
    encoder(char* to, const char* alphabet, unsigned long line, const char* separator)
        : to_(to), alphabet_(alphabet), separator_(separator), line_(line),
          left_(line ? line : ~0ul) {}

    // Writes all whole groups of the data and advances past them.
    void groups(const unsigned char*& data, unsigned long& size) {
        while (size >= group::bytes) {
            unsigned long run = std::min(size / group::bytes, left_ / group::values);
            if (run > 0) {
                unbroken(data, run);
            } else {
                run = 1;
                for (unsigned long i = 0; i < group::values; ++i)
                    put(character(group::gather(data), i));
            }
            data += run * group::bytes;
            size -= run * group::bytes;
        }
    }

    void put(char c) {
        if (left_ == 0) {
            for (const char* s = separator_; *s != 0; ++s)
                *to_++ = *s;
            left_ = line_;
        }
        --left_;
        *to_++ = c;
    }
    // Writes a character without regard to separators.
    void put_unseparated(char c) { *to_++ = c; }

private:
    using group = codec_group<Bits>;

    char character(std::uint64_t bits, unsigned long i) const {
        constexpr std::uint64_t mask = (1u << Bits) - 1;
        return alphabet_[bits >> (Bits * (group::values - 1 - i)) & mask];
    }

    void unbroken(const unsigned char* data, unsigned long run) {
        char* to = to_;
        for (unsigned long n = run; n > 0; --n) {
            const std::uint64_t bits = group::gather(data);
            for (unsigned long i = 0; i < group::values; ++i)
                to[i] = character(bits, i);
            data += group::bytes;
            to += group::values;
        }
        to_ = to;
        left_ -= run * group::values;
    }

    char* to_;
    const char* alphabet_;
    const char* separator_;
    unsigned long line_;
    unsigned long left_; // characters until the next separator
};

// What a decoder makes of each character: its value, or one of these.
constexpr unsigned char codec_skip = 64;
constexpr unsigned char codec_end = 65;
constexpr unsigned char codec_bad = 66;

struct decoding_table {
    unsigned char of[256] = {};

    constexpr void set(char c, unsigned char value) { of[static_cast<unsigned char>(c)] = value; }
};

// Decodes whole groups up to the first with a character that is not a value; advances past them.
template <unsigned Bits>
void decode_groups(const unsigned char*& text, const unsigned char* end, char*& to,
                   const decoding_table& table) {
    using group = codec_group<Bits>;
    const unsigned char* at = text;
    char* out = to;
    while (static_cast<unsigned long>(end - at) >= group::values) {
        std::uint64_t bits = 0;
        unsigned seen = 0;
        for (unsigned long i = 0; i < group::values; ++i) {
            const unsigned char value = table.of[at[i]];
            seen |= value;
            bits = bits << Bits | value;
        }
        if (seen >= codec_skip)
            break;
        group::scatter(bits, out, group::bytes);
        at += group::values;
        out += group::bytes;
    }
    text = at;
    to = out;
}

// Decodes `text`, which may be null, into `held`, which must be null and stays so if there are no
// bytes or a bad character is met. An incomplete group of k values at the end is padded with zero
// values and gives `leftover[k]` bytes.
template <unsigned Bits, class Room>
void decode(typename Room::block*& held, const char* text, const decoding_table& table,
            const unsigned char* leftover) {
    using group = codec_group<Bits>;
    const unsigned long characters = text ? std::strlen(text) : 0;
    const unsigned char* at = reinterpret_cast<const unsigned char*>(text);
    const unsigned char* const end = at + characters;
    // The number of bytes if every character is a value.
    held = make_appended<Room>(characters / group::values * group::bytes +
                               leftover[characters % group::values]);
    if (!held)
        return;

    char* to = held->data();
    std::uint64_t bits = 0;
    unsigned long values = 0; // of the group that is being read
    for (;;) {
        if (values == 0)
            decode_groups<Bits>(at, end, to, table);
        const unsigned char value = at == end ? codec_end : table.of[*at++];
        if (value == codec_skip)
            continue;
        if (value == codec_bad)
            return Room::drop(held);
        if (value == codec_end)
            break;
        bits = bits << Bits | value;
        if (++values == group::values) {
            group::scatter(bits, to, group::bytes);
            to += group::bytes;
            values = 0;
        }
    }
    group::scatter(bits << (Bits * (group::values - values)), to, leftover[values]);
    to += leftover[values];

    const unsigned long length = static_cast<unsigned long>(to - held->data());
    if (length == held->length)
        return;
    typename Room::block* shorter = make_appended<Room>(length);
    if (shorter)
        std::memcpy(shorter->data(), held->data(), length);
    Room::adopt(held, shorter);
}

} // namespace buffers
