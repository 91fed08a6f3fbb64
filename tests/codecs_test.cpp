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
    EXPECT_STREQ(str_t::base64code("M", 1, 1).c_str(), "T\r\nQ\r\n=\r\n="); // padding counts
    EXPECT_STREQ(str_t::base32code("foobar", 6, 4, '-').c_str(), "MZXW-6YTB-OI");
    EXPECT_EQ(bin_t::base64decode("\tT\nW\rF u=ignored!"), bin_t("Man", 3));
    EXPECT_EQ(bin_t::base64decode("TW!Fu"), bin_t()); // a foreign character discards everything
    EXPECT_EQ(bin_t::base32decode("-m Y\t\nMZXW"), bin_t("f", 1)); // or what is behind it
    EXPECT_FALSE(str_t::base64code(nullptr, 3, 0).block() || bin_t::base64decode(nullptr).block());
    EXPECT_FALSE(str_t::base32code(nullptr, 5, 0, '-').block());
    EXPECT_FALSE(bin_t::base32decode(nullptr).block());
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
