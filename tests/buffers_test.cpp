// Text, bytes and streams: room, sharing, aliasing.
#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

std::string text(unsigned long length) { return std::string(length, 'x'); }

TEST(Str, CapacityAfterAssignment) {
    const struct {
        unsigned long length, capacity;
    } rows[] = {{0, 0},       {1, 2560},    {1706, 2560},    {1707, 2561},
                {2000, 3001}, {2558, 3838}, {100000, 150001}};
    for (const auto& row : rows) {
        str_t s;
        s = text(row.length).c_str();
        EXPECT_EQ(s.capacity(), row.capacity) << row.length;
        EXPECT_EQ(s.c_str(), text(row.length));
    }
}

TEST(Str, ABlockIsReusedOnlyWhileAByteStaysFree) {
    str_t s("x");
    const auto* block = s.block();
    while (s.length() < 2558)
        s.add('x');
    EXPECT_EQ(s.block(), block); // 2560 > 2558 + 1
    s.add('x');
    EXPECT_EQ(s.capacity(), 3839u); // 2560 > 2559 + 1 fails
    EXPECT_EQ(s.c_str(), text(2559));
}

TEST(Str, NullAndEmptyTextLeaveNoBlock) {
    str_t s("old");
    s = nullptr;
    EXPECT_EQ(s.block(), nullptr);
    s = "";
    s << nullptr << "";
    s.add('\0').append(nullptr, 3);
    const char* const no_format = nullptr;
    s.addprintf(no_format);
    EXPECT_EQ(s.block(), nullptr);
    EXPECT_STREQ(s.c_str(), "");
    EXPECT_EQ(s.reverse().block(), nullptr);
}

// An empty block that must be replaced counts as nothing to grow from, and must hold everything.
TEST(Str, AnEmptyBlockHoldsWhateverIsAppended) {
    for (unsigned long count : {1ul, 2559ul, 2560ul, 100000ul}) {
        str_t s;
        s.addprintf("%s", "");
        ASSERT_NE(s.block(), nullptr);
        const str_t other(s); // shared, so the append replaces the block
        s.append(text(count).c_str(), count);
        EXPECT_EQ(s.c_str(), text(count));
        EXPECT_EQ(s.capacity(), count + 1 > 2560 ? count + 1 : 2560);
    }
}

TEST(Str, AWriteToASharedBlockLeavesTheOtherHolderAlone) {
    str_t a("text");
    str_t b(a), c(a);
    EXPECT_EQ(a.block()->refs, 3);
    b.add('!');
    c[0] = 'T';
    EXPECT_STREQ(a.c_str(), "text");
    EXPECT_STREQ(b.c_str(), "text!");
    EXPECT_STREQ(c.c_str(), "Text");
    EXPECT_EQ(a.block()->refs, 1);
    str_t d(a);
    EXPECT_EQ(d[1], 'e'); // reading shares on
    EXPECT_EQ(d.block(), a.block());
}

TEST(Str, TextFromTheStringItself) {
    str_t s("0123456789");
    s = s.c_str() + 5;
    std::string expected = "56789";
    for (int i = 0; i < 12; ++i) { // through several blocks
        s << s.c_str();
        expected += expected;
    }
    s = *&s;
    EXPECT_EQ(s.c_str(), expected);
}

TEST(Str, FormattedPiecesAreCutAtTheRoomTheyAreGiven) {
    str_t s;
    s.addprintf("%d-%s", 42, "x").addprintf("%s", "");
    EXPECT_STREQ(s.c_str(), "42-x");
    s.addprintf("%s", text(10000).c_str());
    EXPECT_EQ(s.length(), s.capacity() - 2); // a terminator, and the byte that stays free
    EXPECT_EQ(s.c_str(), "42-x" + text(s.length() - 4));
}

TEST(Str, IndexesBehindTheLength) {
    str_t s("ab");
    EXPECT_EQ(s[ULONG_MAX], '\0');
    s[2] = 'c';
    EXPECT_EQ(s[2], '\0');
    EXPECT_EQ(static_cast<const str_t&>(s)[5], '\0');
    EXPECT_STREQ(s.c_str(), "ab");
}

TEST(Bin, RoomAndZeros) {
    bin_t b("\0", 1);
    while (b.length() < 254)
        b.add('\xff');
    EXPECT_EQ(b.capacity(), 256u);
    b.add('\1'); // 256 > 255 + 1 fails
    EXPECT_EQ(b.capacity(), 383u);
    EXPECT_EQ(b[0], '\0');
    EXPECT_EQ(b[254], '\1');

    const bin_t r = bin_t("\1\0\3", 3).reverse();
    EXPECT_TRUE(r == bin_t("\3\0\1", 3));
    EXPECT_TRUE(r != bin_t("\3\0", 2));
}

TEST(Stream, Room) {
    stream<0> s;
    s.add(0ul);
    EXPECT_EQ(s.capacity(), 3u); // asked for 2
    s.add(ULONG_MAX);
    EXPECT_STREQ(s.c_str(), "018446744073709551615");

    stream<0> n;
    n.need(0);
    EXPECT_EQ(n.capacity(), 0u);
    n.need(10);
    EXPECT_EQ(n.capacity(), 15u);
    const char* kept = n.c_str();
    n.need(15); // at least is enough
    n.add("0123456789").clear();
    EXPECT_EQ(n.c_str(), kept);
    EXPECT_STREQ(n.c_str(), "");
}

TEST(Stream, SharedBlocksAreCopiedBeforeAWrite) {
    stream<0> a;
    a.add("one");
    stream<0> b(a), c(a);
    b.need(0);
    b.add(" two");
    c.clear();
    EXPECT_STREQ(a.c_str(), "one");
    EXPECT_STREQ(b.c_str(), "one two");
    b.add(b.c_str(), b.length()).add(b.c_str());
    EXPECT_STREQ(b.c_str(), "one twoone twoone twoone two");
    // Less than the text of a shared block: room for the text all the same.
    for (unsigned long fewer : {25ul, 2ul, 1ul}) {
        stream<0> d(b);
        d.need(d.length() - fewer);
        EXPECT_STREQ(d.c_str(), b.c_str());
        EXPECT_EQ(d.capacity(), fewer > 1 ? 28u : 40u);
    }
}

TEST(Stream, FixedTextIsCutWithoutNotice) {
    stream<4096> s;
    s.add(text(4090).c_str()).addtime(0, "%H:%M:%S");
    EXPECT_EQ(s.length(), 4095u);
    EXPECT_EQ(s.c_str()[4092], ':');
    s.add('x').addtime(0, "%Y");
    EXPECT_EQ(s.length(), 4095u);

    stream<4096> now, year;
    now.addtime(0, "%Y"); // 0 is now
    EXPECT_STRNE(now.c_str(), "1970");
    year.addtime(86400 * 200, "%Y").addtime(1, text(150).c_str()); // longer than 99 characters
    EXPECT_STREQ(year.c_str(), "1970");
}

} // namespace
