// Base64 and base32, of any bytes and of any text, against their rules spelled out. The input is a
// byte for the length of lines and groups, one for the separator, and the bytes or the text.
#include "support.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <openssl/evp.h>

#include <vector>

namespace {

using fuzz::require;

const std::string letters32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
const std::string letters64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string bytes_of(const bin_t& from) { return std::string(from.data(), from.length()); }
std::string text_of(const str_t& from) { return std::string(from.c_str(), from.length()); }

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

std::string encoded64(const std::string& bytes) {
    std::vector<unsigned char> text(bytes.size() / 3 * 4 + 5);
    const int length =
        EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                        static_cast<int>(bytes.size()));
    return std::string(text.begin(), text.begin() + length);
}

std::string encoded32(const std::string& bytes, unsigned group, char separator) {
    std::string text;
    unsigned in_group = 0;
    const std::string values = regroup(bytes, 8, 5);
    for (const char value : values) {
        if (group != 0 && in_group == group) {
            if (separator != 0)
                text += separator;
            in_group = 0;
        }
        text += letters32[static_cast<unsigned char>(value)];
        ++in_group;
    }
    const std::size_t left = bytes.size() * 8 - values.size() * 5;
    if (left != 0) { // never behind a separator
        const unsigned last = static_cast<unsigned char>(bytes.back());
        text += letters32[last << (5 - left) & 31];
    }
    return text;
}

std::string decoded64(const std::string& text) {
    std::string values;
    for (const char c : text) {
        if (c == '=')
            break;
        if (c == '\t' || c == '\n' || c == '\r' || c == ' ')
            continue;
        const std::size_t value = letters64.find(c);
        if (value == std::string::npos)
            return "";
        values += static_cast<char>(value);
    }
    static const std::size_t bytes_of_rest[] = {0, 1, 1, 2};
    const std::size_t length = values.size() / 4 * 3 + bytes_of_rest[values.size() % 4];
    return regroup(values + std::string(3, '\0'), 6, 8).substr(0, length);
}

std::string decoded32(const std::string& text) {
    std::string values;
    for (char c : text) {
        if (c == '\t' || c == ' ' || c == '-')
            continue;
        c = c == '0' ? 'O' : c == '1' ? 'I' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
        const std::size_t value = letters32.find(c);
        if (value == std::string::npos)
            break;
        values += static_cast<char>(value);
    }
    static const std::size_t bytes_of_rest[] = {0, 1, 1, 2, 3, 3, 4, 5};
    const std::size_t length = values.size() / 8 * 5 + bytes_of_rest[values.size() % 8];
    return regroup(values + std::string(7, '\0'), 5, 8).substr(0, length);
}

void check_base64(const std::string& bytes, unsigned line) {
    const std::string whole = text_of(str_t::base64code(bytes.data(), bytes.size(), 0));
    require(whole == encoded64(bytes), "base64");
    std::string expected;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        if (line != 0 && i != 0 && i % line == 0)
            expected += "\r\n";
        expected += whole[i];
    }
    const str_t in_lines = str_t::base64code(bytes.data(), bytes.size(), line);
    require(text_of(in_lines) == expected, "base64 in lines");
    require(bytes_of(bin_t::base64decode(in_lines.c_str())) == bytes, "base64 there and back");
}

void check_base32(const std::string& bytes, unsigned group, char separator) {
    const str_t text = str_t::base32code(bytes.data(), bytes.size(), group, separator);
    require(text_of(text) == encoded32(bytes, group, separator), "base32");
    if (separator != 0 && separator != '-' && separator != ' ' && separator != '\t')
        return;
    const std::string back = bytes_of(bin_t::base32decode(text.c_str()));
    require(back.compare(0, bytes.size(), bytes) == 0, "base32 there and back");
    require(bytes.size() % 5 != 0 || back.size() == bytes.size(), "whole groups come back exactly");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned line = in.byte();
    const char separator = static_cast<char>(in.byte());
    const std::string bytes = in.rest();
    check_base64(bytes, line);
    check_base32(bytes, line, separator);

    const std::string text = bytes.c_str(); // up to the first NUL
    require(bytes_of(bin_t::base64decode(text.c_str())) == decoded64(text), "base64 decoded");
    require(bytes_of(bin_t::base32decode(text.c_str())) == decoded32(text), "base32 decoded");
    return 0;
}
