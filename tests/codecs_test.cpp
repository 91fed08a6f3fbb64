// Base64 and base32: the rules in tables, and random cases by the fuzz target, which has OpenSSL
// and the rules spelled out to compare with, and an unreadable page behind each text that is
// decoded.
#include "fuzz/support.hpp"
#include "support/random.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <gtest/gtest.h>

namespace {

using std::string;

string encode64(const string& bytes, unsigned long line) {
    return str_t::base64code(bytes.data(), bytes.size(), line).c_str();
}
string encode32(const string& bytes, unsigned long group, char separator) {
    return str_t::base32code(bytes.data(), bytes.size(), group, separator).c_str();
}

TEST(Codecs, Encoding) {
    const struct {
        string made;
        const char* text;
    } rows[] = {
        {encode64("M", 0), "TQ=="},
        {encode64("\xfb\xff\xbf", 0), "+/+/"},
        {encode64("ManMan", 4), "TWFu\r\nTWFu"}, // breaks between characters only
        {encode64("ManMan", 7), "TWFuTWF\r\nu"},
        {encode64("M", 1), "T\r\nQ\r\n=\r\n="}, // padding counts
        {encode32(string(1, '\0'), 0, '-'), "AA"},
        {encode32(string(10, '\0'), 4, '-'), "AAAA-AAAA-AAAA-AAAA"},
        {encode32("f", 1, '-'), "MY"}, // never before the character of the last bits
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.made, row.text);
    EXPECT_TRUE(str_t::base64code(nullptr, 3, 0).empty());
    EXPECT_TRUE(str_t::base32code(nullptr, 5, 0, '-').empty());
}

TEST(Codecs, Decoding) {
    const struct {
        bin_t (*decode)(const char*);
        const char* text;
        string bytes;
    } rows[] = {
        {bin_t::base64decode, nullptr, ""},
        {bin_t::base64decode, "\tT\nW\rF u\r\n", "Man"},
        {bin_t::base64decode, "TWFu=ignored!", "Man"},
        {bin_t::base64decode, "T", "\x4c"}, // one value is a byte all the same
        {bin_t::base64decode, "TW!Fu", ""}, // a foreign character discards everything
        {bin_t::base32decode, nullptr, ""},
        {bin_t::base32decode, "-m Y\t", "f"},
        {bin_t::base32decode, "MZXW6YTB=MZXW6YTB", "fooba"}, // what came before is kept
        {bin_t::base32decode, "MZXW6YTB\nMZXW6YTB", "fooba"},
        {bin_t::base32decode, "I1", "\x42"},
        {bin_t::base32decode, "7", "\xf8"}, // the partial groups
        {bin_t::base32decode, "777", "\xff\xfe"},
        {bin_t::base32decode, "7777", "\xff\xff\xf0"},
        {bin_t::base32decode, "777777", "\xff\xff\xff\xfc"},
        {bin_t::base32decode, "7777777", "\xff\xff\xff\xff\xe0"},
    };
    for (const auto& row : rows) {
        const bin_t expected(row.bytes.data(), row.bytes.size());
        EXPECT_EQ(row.decode(row.text), expected) << (row.text ? row.text : "null");
    }
}

TEST(Codecs, RandomBytesAndTexts) {
    seeded_random random;
    const string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz0189+/";
    for (int round = 0; round < 4000; ++round) {
        const unsigned long length = random.below(round % 100 == 0 ? 20000 : 400) + 1;
        string input = round % 3 == 0
                           ? random.bytes(length)
                           : random.text(length, letters.substr(0, 58 + random.below(7)));
        for (unsigned long blanks = random.below(6); blanks > 0; --blanks)
            input.insert(random.below(length), random.text(random.below(5), "\t\r\n -"));
        const char line = static_cast<char>(random.below(4) ? random.below(100) : 0);
        ASSERT_NO_THROW(fuzz::run(string{line, random.below(4) ? '-' : '\0'} + input)) << input;
    }
}

TEST(Codecs, EveryByteInEveryPlaceOfAGroup) {
    for (int byte = 1; byte < 256; ++byte)
        for (int before = 0; before < 9; ++before)
            ASSERT_NO_THROW(fuzz::run(std::string("\0\0ABCDEFGH", 10).substr(0, 2 + before) +
                                      static_cast<char>(byte) + "Y"));
}

} // namespace
