// Base64 and base32, of any bytes and of any text, against their rules spelled out. The input is a
// byte for the length of lines and groups, one for the separator, and the bytes or the text.
#include "support.hpp"

#include "../support/guarded_page.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <openssl/evp.h>

namespace {

using fuzz::require;

// What the two decoders differ in. The values of the alphabet follow one another; base32 has its
// letters twice, and what people type instead of two of them.
struct code {
    std::string alphabet, skipped;
    unsigned width;              // of a value, in bits
    std::string bytes_of_rest;   // for the values behind the last whole group
    bool a_foreign_one_discards; // all, or only what follows it
};
const code base64 = {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", "\t\n\r ",
                     6, std::string("\0\1\1\2", 4), true};
const code base32 = {"ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz", "\t -", 5,
                     std::string("\0\1\1\2\3\3\4\5", 8), false};

// The bits of values, the most significant first, taken in groups of another size; the bits that
// are left over are dropped.
std::string regroup(const std::string& values, unsigned from, unsigned to) {
    std::string made;
    unsigned held = 0, bits = 0;
    for (const char value : values) {
        held = held << from | static_cast<unsigned char>(value);
        for (bits += from; bits >= to; bits -= to)
            made += static_cast<char>(held >> (bits - to) & ((1u << to) - 1));
        held &= (1u << bits) - 1;
    }
    return made;
}

std::string encoded64(const std::string& bytes, unsigned line) {
    std::string text(bytes.size() / 3 * 4 + 5, '\0'), in_lines;
    text.resize(static_cast<unsigned long>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()),
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()))));
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (line != 0 && i != 0 && i % line == 0)
            in_lines += "\r\n";
        in_lines += text[i];
    }
    return in_lines;
}

std::string encoded32(const std::string& bytes, unsigned group, char separator) {
    std::string text;
    const std::string values = regroup(bytes + '\0', 8, 5);
    const std::size_t count = (bytes.size() * 8 + 4) / 5, whole = bytes.size() * 8 / 5;
    for (std::size_t i = 0; i < count; ++i) {
        // Never in front of the character of the last few bits.
        if (group != 0 && separator != 0 && i != 0 && i % group == 0 && i < whole)
            text += separator;
        text += base32.alphabet[static_cast<unsigned char>(values[i])];
    }
    return text;
}

std::string decoded(const code& by, const std::string& text) {
    std::string values;
    for (char c : text) {
        if (by.width == 5)
            c = c == '0' ? 'O' : c == '1' ? 'I' : c;
        if (by.skipped.find(c) != std::string::npos)
            continue;
        const std::size_t value = by.alphabet.find(c);
        if (value == std::string::npos && by.a_foreign_one_discards && c != '=')
            return "";
        if (value == std::string::npos)
            break;
        values += static_cast<char>(value % (1u << by.width));
    }
    const std::size_t group = by.bytes_of_rest.size();
    const std::size_t length = values.size() / group * (group * by.width / 8) +
                               static_cast<std::size_t>(by.bytes_of_rest[values.size() % group]);
    return regroup(values + std::string(group, '\0'), by.width, 8).substr(0, length);
}

// The bytes, in the block that appending them one by one makes.
template <class Buffer>
void check(const Buffer& made, const char* bytes, const std::string& expected, const char* what) {
    require(std::string(bytes, made.length()) == expected, what);
    Buffer appended;
    for (const char byte : expected)
        appended.add(byte);
    require(made.capacity() == appended.capacity() && !made.block() == expected.empty(), what);
}

void check_decoders(const std::string& text) {
    static guarded_page page;
    const char* const at = page.text(text.c_str()); // up to the first NUL
    const bin_t from64 = bin_t::base64decode(at), from32 = bin_t::base32decode(at);
    check(from64, from64.data(), decoded(base64, at), "base64 decoded");
    check(from32, from32.data(), decoded(base32, at), "base32 decoded");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned line = in.byte();
    const char separator = static_cast<char>(in.byte());
    const std::string bytes = in.rest();

    const str_t text64 = str_t::base64code(bytes.data(), bytes.size(), line);
    const str_t text32 = str_t::base32code(bytes.data(), bytes.size(), line, separator);
    check(text64, text64.c_str(), encoded64(bytes, line), "base64");
    check(text32, text32.c_str(), encoded32(bytes, line, separator), "base32");
    const bin_t back = bin_t::base64decode(text64.c_str());
    require(std::string(back.data(), back.length()) == bytes, "base64 there and back");
    check_decoders(text64.c_str());
    check_decoders(text32.c_str());
    check_decoders(bytes);
    return 0;
}
