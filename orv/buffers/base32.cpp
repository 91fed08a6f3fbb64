// Base32: the alphabet, the last character, and what the decoder makes of each character.
#include <orv/buffers/bin_room.hpp>
#include <orv/buffers/codec.hpp>
#include <orv/buffers/str_room.hpp>

using buffers::bin_room;
using buffers::str_room;

namespace {

constexpr char conv[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

constexpr buffers::decoding_table decoding() {
    buffers::decoding_table table{};
    for (unsigned char& value : table.of)
        value = buffers::codec_end; // CR, LF and "=" included
    for (unsigned char value = 0; value < 32; ++value)
        table.set(conv[value], value);
    for (unsigned char letter = 0; letter < 26; ++letter)
        table.set(static_cast<char>('a' + letter), letter);
    for (const char blank : {'\t', ' ', '-'})
        table.set(blank, buffers::codec_skip);
    table.set('0', 'O' - 'A'); // common misreadings
    table.set('1', 'I' - 'A');
    return table;
}

constexpr buffers::decoding_table values = decoding();

// Not the rule of RFC 4648, by which four values give two bytes: codes already issued are read by
// this one.
constexpr unsigned char leftover[] = {0, 1, 1, 2, 3, 3, 4, 5};

} // namespace

str_t str_t::base32code(const char* data, unsigned long size, unsigned long group, char separator) {
    str_t result;
    if (!data || size == 0)
        return result;
    const char between[] = {separator, '\0'}; // empty for a zero separator
    const unsigned long tail_bits = size % 5 * 8;
    const unsigned long whole =
        buffers::checked(size) / 5 * 8 + tail_bits / 5; // characters of five bits each
    const unsigned long separators = group != 0 && separator != 0 ? (whole - 1) / group : 0;
    result.block_ = buffers::make_appended<str_room>(whole + (tail_bits != 0 ? 1 : 0) + separators);

    buffers::encoder<5> out(result.block_->data(), conv, group, between);
    const unsigned char* rest = reinterpret_cast<const unsigned char*>(data);
    out.groups(rest, size);
    if (size > 0) {
        unsigned bits = 0;
        for (unsigned long i = 0; i < size; ++i)
            bits = bits << 8 | rest[i];
        unsigned long left = tail_bits;
        for (; left >= 5; left -= 5)
            out.put(conv[bits >> (left - 5) & 31]);
        // The character of the last bits is never preceded by a separator, even after a full group.
        // This asymmetry is part of the format.
        out.put_unseparated(conv[bits << (5 - left) & 31]);
    }
    return result;
}

bin_t bin_t::base32decode(const char* text) {
    bin_t result;
    buffers::decode<5, bin_room>(result.block_, text, values, leftover);
    return result;
}
