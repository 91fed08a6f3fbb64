// Base64: the alphabet, the padding, and what the decoder makes of each character.
#include <orv/buffers/bin_room.hpp>
#include <orv/buffers/codec.hpp>
#include <orv/buffers/str_room.hpp>

using buffers::bin_room;
using buffers::str_room;

namespace {

constexpr char conv[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr buffers::decoding_table decoding() {
    buffers::decoding_table table{};
    for (unsigned char& value : table.of)
        value = buffers::codec_bad;
    for (unsigned char value = 0; value < 64; ++value)
        table.set(conv[value], value);
    for (const char blank : {'\t', '\n', '\r', ' '})
        table.set(blank, buffers::codec_skip);
    table.set('=', buffers::codec_end);
    return table;
}

constexpr buffers::decoding_table values = decoding();

// A single value is not enough for a byte but yields one all the same: truncated text is decoded as
// far as it goes.
constexpr unsigned char leftover[] = {0, 1, 1, 2};

} // namespace

str_t str_t::base64code(const char* data, unsigned long size, unsigned long line) {
    str_t result;
    if (!data || size == 0)
        return result;
    const unsigned long characters = buffers::checked(size) / 3 * 4 + (size % 3 != 0 ? 4 : 0);
    const unsigned long breaks = line != 0 ? (characters - 1) / line : 0;
    result.block_ = buffers::make_appended<str_room>(characters + 2 * breaks);

    buffers::encoder<6> out(result.block_->data(), conv, line, "\r\n");
    const unsigned char* rest = reinterpret_cast<const unsigned char*>(data);
    out.groups(rest, size);
    if (size > 0) {
        const unsigned char first = rest[0];
        const unsigned char second = size > 1 ? rest[1] : 0;
        out.put(conv[first >> 2]);
        out.put(conv[(first & 3) << 4 | second >> 4]);
        out.put(size > 1 ? conv[(second & 15) << 2] : '=');
        out.put('=');
    }
    return result;
}

bin_t bin_t::base64decode(const char* text) {
    bin_t result;
    buffers::decode<6, bin_room>(result.block_, text, values, leftover);
    return result;
}
