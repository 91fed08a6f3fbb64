// Base64 and base32: the rules in tables, and random cases beside OpenSSL and a plain model.
#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include "support/guarded_page.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <string>

namespace {

using std::string;

string string_of(const str_t& text) { return string(text.c_str(), text.length()); }
string string_of(const bin_t& bytes) { return string(bytes.data(), bytes.length()); }

str_t encode64(const string& bytes, unsigned long line) {
    return str_t::base64code(bytes.data(), bytes.size(), line);
}
str_t encode32(const string& bytes, unsigned long group, char separator) {
    return str_t::base32code(bytes.data(), bytes.size(), group, separator);
}

// What appending byte by byte makes, block for block.
template <class Buffer>
void expect_as_appended(const Buffer& made, const string& bytes, const string& input) {
    Buffer appended;
    for (char byte : bytes)
        appended.add(byte);
    ASSERT_EQ(string_of(made), bytes) << "for '" << input << "'";
    ASSERT_EQ(made.capacity(), appended.capacity());
    ASSERT_EQ(made.block() == nullptr, bytes.empty());
}

// The model works on strings of bits.
struct code {
    string alphabet, skipped, leftover;
    unsigned width;
    bool discards; // on a foreign character
};
const code base64 = {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", "\t\n\r ",
                     string("\0\1\1\2", 4), 6, true};
const code base32 = {"ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz", "\t -",
                     string("\0\1\1\2\3\3\4\5", 8), 5, false};

string bits_of(unsigned long value, unsigned width) {
    string bits;
    while (width-- > 0)
        bits += value >> width & 1 ? '1' : '0';
    return bits;
}

unsigned long value_at(const string& bits, unsigned long at, unsigned width) {
    string value = at < bits.size() ? bits.substr(at, width) : "";
    value.resize(width, '0');
    return std::stoul(value, nullptr, 2);
}

string decoded(const code& code, const string& text) {
    string bits, bytes;
    for (char c : text) {
        if (code.width == 5)
            c = c == '0' ? 'O' : c == '1' ? 'I' : c;
        if (code.skipped.find(c) != string::npos)
            continue;
        const unsigned long value = code.alphabet.find(c);
        if (value == string::npos) {
            if (code.discards && c != '=')
                return "";
            break;
        }
        bits += bits_of(value, code.width);
    }
    const unsigned long values = bits.size() / code.width, group = code.leftover.size();
    const unsigned long count = values / group * (group * code.width / 8) +
                                static_cast<unsigned long>(code.leftover[values % group]);
    for (unsigned long i = 0; i < count; ++i)
        bytes += static_cast<char>(value_at(bits, i * 8, 8));
    return bytes;
}

string encoded32(const string& bytes, unsigned long group, char separator) {
    string bits, text;
    for (char byte : bytes)
        bits += bits_of(static_cast<unsigned char>(byte), 8);
    for (unsigned long at = 0; at < bits.size(); at += 5) {
        const bool last_bits = at + 5 > bits.size();
        if (!last_bits && group != 0 && at != 0 && at / 5 % group == 0 && separator != 0)
            text += separator;
        text += base32.alphabet[value_at(bits, at, 5)];
    }
    return text;
}

string encoded64(const string& bytes, unsigned long line) {
    string text(bytes.size() / 3 * 4 + 5, '\0'), broken;
    text.resize(static_cast<unsigned long>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()),
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()))));
    for (unsigned long i = 0; i < text.size(); ++i)
        (broken += line != 0 && i != 0 && i % line == 0 ? "\r\n" : "") += text[i];
    return broken;
}

void expect_decoded(guarded_page& page, const string& text) {
    const char* at = page.text(text);
    expect_as_appended(bin_t::base64decode(at), decoded(base64, text), text);
    expect_as_appended(bin_t::base32decode(at), decoded(base32, text), text);
}

TEST(Codecs, Encoding) {
    struct {
        string made;
        const char* text;
    } const rows[] = {
        {string_of(encode64("", 0)), ""},
        {string_of(encode64("M", 0)), "TQ=="},
        {string_of(encode64("Ma", 0)), "TWE="},
        {string_of(encode64("Man", 0)), "TWFu"},
        {string_of(encode64("\xfb\xff\xbf", 0)), "+/+/"},
        {string_of(encode64("ManMan", 4)), "TWFu\r\nTWFu"}, // breaks between characters only
        {string_of(encode64("ManMan", 8)), "TWFuTWFu"},
        {string_of(encode64("ManMan", 7)), "TWFuTWF\r\nu"},
        {string_of(encode64("M", 1)), "T\r\nQ\r\n=\r\n="}, // padding counts
        {string_of(encode32(string(1, '\0'), 0, '-')), "AA"},
        {string_of(encode32("f", 0, '-')), "MY"},
        {string_of(encode32("foobar", 0, '-')), "MZXW6YTBOI"},
        {string_of(encode32("fooba", 4, '-')), "MZXW-6YTB"},
        {string_of(encode32(string(10, '\0'), 4, '-')), "AAAA-AAAA-AAAA-AAAA"},
        {string_of(encode32("f", 1, '-')), "MY"}, // never before the character of the last bits
        {string_of(encode32("foobar", 3, '.')), "MZX.W6Y.TBOI"},
        {string_of(encode32("fooba", 4, '\0')), "MZXW6YTB"},
        {string_of(str_t::base64code(nullptr, 3, 0)), ""},
        {string_of(str_t::base32code(nullptr, 5, 0, '-')), ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.made, row.text);
}

TEST(Codecs, Decoding) {
    struct {
        bin_t (*decode)(const char*);
        const char* text;
        string bytes;
    } const rows[] = {
        {bin_t::base64decode, nullptr, ""},
        {bin_t::base64decode, "TWFu", "Man"},
        {bin_t::base64decode, "\tT\nW\rF u\r\n", "Man"},
        {bin_t::base64decode, "TWFu=ignored!", "Man"},
        {bin_t::base64decode, "T", "\x4c"}, // one value is a byte all the same
        {bin_t::base64decode, "TQ", "M"},
        {bin_t::base64decode, "TWE", "Ma"},
        {bin_t::base64decode, "TW!Fu", ""}, // a foreign character discards everything
        {bin_t::base64decode, "TWFuTWFuTWFu\x80", ""},
        {bin_t::base32decode, nullptr, ""},
        {bin_t::base32decode, "my", "f"},
        {bin_t::base32decode, "-M Y\t", "f"},
        {bin_t::base32decode, "MY======", "f"},
        {bin_t::base32decode, "MZXW6YTB=MZXW6YTB", "fooba"}, // what came before is kept
        {bin_t::base32decode, "MZXW6YTB\nMZXW6YTB", "fooba"},
        {bin_t::base32decode, "O0", "\x73"},
        {bin_t::base32decode, "OO", "\x73"},
        {bin_t::base32decode, "I1", "\x42"},
        {bin_t::base32decode, "II", "\x42"},
        {bin_t::base32decode, "7", "\xf8"}, // the partial groups
        {bin_t::base32decode, "77", "\xff"},
        {bin_t::base32decode, "777", "\xff\xfe"},
        {bin_t::base32decode, "7777", "\xff\xff\xf0"},
        {bin_t::base32decode, "77777", "\xff\xff\xff"},
        {bin_t::base32decode, "777777", "\xff\xff\xff\xfc"},
        {bin_t::base32decode, "7777777", "\xff\xff\xff\xff\xe0"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(string_of(row.decode(row.text)), row.bytes) << (row.text ? row.text : "null");
}

TEST(Codecs, EncodersBesideReferences) {
    seeded_random random;
    guarded_page page;
    for (int round = 0; round < 3000; ++round) {
        const string bytes = random.bytes(random.below(round % 100 == 0 ? 20000 : 400));
        const unsigned long line = random.below(4) ? random.below(100) : 0;
        const char separator = random.below(4) ? '-' : '\0';
        const char* data = page.bytes(bytes.data(), bytes.size());
        const str_t text64 = str_t::base64code(data, bytes.size(), line);
        const str_t text32 = str_t::base32code(data, bytes.size(), line, separator);
        expect_as_appended(text64, encoded64(bytes, line), bytes);
        expect_as_appended(text32, encoded32(bytes, line, separator), bytes);
        ASSERT_EQ(string_of(bin_t::base64decode(text64.c_str())), bytes);
        expect_decoded(page, string_of(text64));
        expect_decoded(page, string_of(text32));
    }
}

TEST(Codecs, DecodersOnAnyText) {
    seeded_random random;
    guarded_page page;
    for (int round = 0; round < 4000; ++round) {
        const string& alphabet = (round % 2 ? base64 : base32).alphabet;
        string text = random.text(random.below(round % 100 == 0 ? 20000 : 300) + 1, alphabet);
        for (unsigned long blanks = random.below(6); blanks > 0; --blanks)
            text.insert(random.below(text.size()), random.text(random.below(5), "\t\r\n -"));
        if (random.below(4) == 0)
            text[random.below(text.size())] = static_cast<char>(1 + random.below(255));
        expect_decoded(page, text);
    }
}

TEST(Codecs, EveryByteAndEveryPair) {
    guarded_page page;
    for (int a = 1; a < 256; ++a) {
        const string one(1, static_cast<char>(a));
        for (const char* before : {"", "A", "ABC", "ABCDEFG", "ABCDEFGH"})
            expect_decoded(page, before + one + "Y");
        for (int b = 0; b < 256; ++b) // a zero ends the text: single bytes are among the pairs
            expect_decoded(page, b ? one + static_cast<char>(b) : one);
    }
}

} // namespace
