// Base64 and base32, of any bytes and of any text, against their rules spelled out. The input is a
// byte for the length of lines and groups, one for the separator, and the bytes or the text.
#include "support.hpp"

#include "../support/guarded_page.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

namespace {

const std::string alphabet64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const std::string alphabet32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz";

// The bits of values, the most significant first, in groups of another size; those left over go.
std::string regroup(const std::string& values, unsigned from, unsigned to) {
    std::string made;
    unsigned held = 0, bits = 0;
    for (const char value : values) {
        held = held << from | static_cast<unsigned char>(value);
        for (bits += from; bits >= to; bits -= to)
            made += static_cast<char>(held >> (bits - to) & ((1u << to) - 1));
    }
    return made;
}

// `breaking` characters may have a separator in front of them.
std::string encoded(const std::string& bytes, unsigned width, unsigned long line,
                    const std::string& separator, unsigned long breaking) {
    std::string text;
    const std::string values = regroup(bytes + '\0', 8, width);
    const unsigned long count = (bytes.size() * 8 + width - 1) / width;
    for (unsigned long i = 0; i < count || (width == 6 && i % 4 != 0); ++i) {
        if (line != 0 && i != 0 && i % line == 0 && i < breaking)
            text += separator;
        text += i < count ? alphabet64[static_cast<unsigned char>(values[i])] : '=';
        if (width == 5)
            text.back() = alphabet32[static_cast<unsigned char>(values[i])];
    }
    return text;
}

std::string decoded(const std::string& text, unsigned width, const std::string& skipped,
                    const std::string& bytes_of_rest) {
    const std::string& alphabet = width == 6 ? alphabet64 : alphabet32;
    std::string values;
    for (char c : text) {
        if (width == 5)
            c = c == '0' ? 'O' : c == '1' ? 'I' : c;
        const std::size_t value = alphabet.find(c);
        if (skipped.find(c) != std::string::npos)
            continue;
        if (value == std::string::npos && width == 6 && c != '=')
            return "";
        if (value == std::string::npos)
            break;
        values += static_cast<char>(value % (1u << width));
    }
    const std::size_t group = bytes_of_rest.size(), rest = values.size() % group;
    const std::size_t length = values.size() / group * (group * width / 8) +
                               static_cast<std::size_t>(bytes_of_rest[rest] - '0');
    return regroup(values + std::string(group, '\0'), width, 8).substr(0, length);
}

// The bytes, in the block that appending them one by one makes.
template <class Buffer>
void check(const Buffer& made, const char* bytes, const std::string& expected, const char* what) {
    fuzz::require(std::string(bytes, made.length()) == expected, what);
    Buffer appended;
    for (const char byte : expected)
        appended.add(byte);
    fuzz::require(made.capacity() == appended.capacity() && !made.block() == expected.empty(),
                  what);
}

void check_decoders(const std::string& text) {
    static guarded_page page;
    const char* const at = page.text(text.c_str()); // up to the first NUL
    const bin_t from64 = bin_t::base64decode(at), from32 = bin_t::base32decode(at);
    check(from64, from64.data(), decoded(at, 6, "\t\n\r ", "0112"), "base64 decoded");
    check(from32, from32.data(), decoded(at, 5, "\t -", "01123345"), "base32 decoded");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned line = in.byte();
    const std::string separator = in.take(1), bytes = in.rest();

    const str_t text64 = str_t::base64code(bytes.data(), bytes.size(), line);
    const str_t text32 = str_t::base32code(bytes.data(), bytes.size(), line, separator.c_str()[0]);
    check(text64, text64.c_str(), encoded(bytes, 6, line, "\r\n", ~0ul), "base64");
    check(text32, text32.c_str(), encoded(bytes, 5, line, separator.c_str(), bytes.size() * 8 / 5),
          "base32");
    check_decoders(text64.c_str());
    check_decoders(text32.c_str());
    check_decoders(bytes);
    return 0;
}
