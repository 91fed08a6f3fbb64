// Base64 and base32: examples, and random cases by the fuzz target, which has the rules spelled out
// to compare with, and an unreadable page behind each text that is decoded.
#include "fuzz/support.hpp"
#include "support/random.hpp"

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <gtest/gtest.h>

namespace {

using std::string;

TEST(Codecs, Examples) {
    const struct {
        str_t made;
        const char* text;
    } encoded[] = {
        {str_t::base64code("M", 1, 1), "T\r\nQ\r\n=\r\n="},  // padding counts
        {str_t::base64code("ManMan", 6, 4), "TWFu\r\nTWFu"}, // breaks between characters only
        {str_t::base32code("f", 1, 1, '-'), "MY"}, // never before the character of the last bits
        {str_t::base32code("foobar", 6, 4, '-'), "MZXW-6YTB-OI"},
        {str_t::base64code(nullptr, 3, 0), ""},
        {str_t::base32code(nullptr, 5, 0, '-'), ""},
    };
    for (const auto& row : encoded)
        EXPECT_STREQ(row.made.c_str(), row.text);
    const struct {
        bin_t made;
        string bytes;
    } decoded[] = {
        {bin_t::base64decode("\tT\nW\rF u=ignored!"), "Man"},
        {bin_t::base64decode("T"), "\x4c"}, // one value is a byte all the same
        {bin_t::base64decode("TW!Fu"), ""}, // a foreign character discards everything
        {bin_t::base32decode("-m Y\t"), "f"},
        {bin_t::base32decode("MZXW6YTB\nMZXW6YTB"), "fooba"}, // what came before is kept
        {bin_t::base64decode(nullptr), ""},
        {bin_t::base32decode(nullptr), ""},
    };
    for (const auto& row : decoded)
        EXPECT_EQ(row.made, bin_t(row.bytes.data(), row.bytes.size())) << row.bytes;
}

// Bytes, and text with few faults or none.
TEST(Codecs, RandomBytesAndTexts) {
    seeded_random random;
    const string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567abcdefghijklmnopqrstuvwxyz0189+/";
    for (int round = 0; round < 3000; ++round) {
        const unsigned long length = random.below(round % 100 == 0 ? 20000 : 200) + 1;
        string input = random.text(length, letters.substr(0, 58 + random.below(7)));
        for (unsigned long more = random.below(6); more > 0; --more)
            input.insert(random.below(length), random.text(random.below(5), "\t\r\n -"));
        if (round % 3 == 0)
            input = random.bytes(length);
        else if (round % 3 == 1)
            input[random.below(length)] = random.bytes(1)[0];
        const char line = static_cast<char>(random.below(4) ? random.below(100) : 0);
        ASSERT_NO_THROW(fuzz::run(string{line, random.below(4) ? '-' : '\0'} + input)) << input;
    }
}

} // namespace
