// Text, bytes and streams: room, sharing, aliasing, sizes. (The codecs are for their fuzz target.)
#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>

#include <gtest/gtest.h>

#include <climits>
#include <new>
#include <string>

namespace {

std::string text(unsigned long length) { return std::string(length, 'x'); }

template <class Buffer>
Buffer filled(unsigned long length) {
    Buffer buffer;
    while (buffer.length() < length)
        buffer.add('x');
    return buffer;
}

TEST(Str, Room) {
    const unsigned rows[][2] = {{0, 0}, {1, 2560}, {1706, 2560}, {1707, 2561}, {100000, 150001}};
    for (const auto& [length, capacity] : rows) {
        const str_t s(text(length).c_str());
        EXPECT_EQ(s.capacity(), capacity);
        EXPECT_EQ(s.c_str(), text(length));
    }
    EXPECT_EQ(filled<str_t>(2558).capacity(), 2560u); // 2560 > 2558 + 1
    EXPECT_EQ(filled<str_t>(2559).capacity(), 3839u); // 2560 > 2559 + 1 fails
    // An empty block counts as nothing to grow from, and must hold everything.
    str_t empty;
    empty.addprintf("%s", "");
    const str_t other(empty); // shared, so the append replaces the block
    EXPECT_EQ(empty.append(text(2560).c_str(), 2560).capacity(), 2561u);
    EXPECT_EQ(empty.c_str(), text(2560));
}

TEST(Str, NothingLeavesNoBlock) {
    const char* const null = nullptr;
    str_t s("old");
    ((s = nullptr) << null << "").add('\0').append(null, 3).addprintf(null);
    EXPECT_TRUE(!s.block() && *s.c_str() == 0 && !s.reverse().block());
    s = "ab";
    s[2] = 'c'; // there is no such place
    EXPECT_TRUE(s[2] == 0 && s[ULONG_MAX] == 0 && s.add('\0').length() == 2);
    EXPECT_FALSE(str_t::base64code(null, 3, 0).block() || bin_t::base64decode(null).block());
    EXPECT_FALSE(str_t::base32code(null, 5, 0, '-').block() || bin_t::base32decode(null).block());
}

TEST(Str, AWriteToASharedBlockLeavesTheOtherHolderAlone) {
    str_t a("text"), b(a), c(a);
    b.add('!');
    EXPECT_EQ(c[1], 'e'); // reading shares on
    EXPECT_EQ(c.block(), a.block());
    c[0] = 'T';
    EXPECT_EQ(std::string(a.c_str()) + b.c_str() + c.c_str(), "texttext!Text");
    EXPECT_EQ(a.block()->refs, 1);
}

TEST(Str, TextFromTheStringItself) {
    str_t s("0123456789");
    s = s.c_str() + 5;
    std::string expected = "56789";
    for (int i = 0; i < 12; ++i) { // through several blocks
        s.append(s.c_str(), s.length() + 1);
        expected += expected + '\0';
    }
    (s = *&s) << s.c_str();
    expected += expected.c_str();
    EXPECT_EQ(std::string(s.c_str(), s.length()), expected);
}

TEST(Str, FormattedPiecesAreCutAtTheRoomTheyAreGiven) {
    str_t s;
    s.addprintf("%d-", 42).addprintf("x").addprintf("%s", "");
    EXPECT_STREQ(s.c_str(), "42-x");
    const std::string format = text(1000) + "%s"; // 4 times the format and 1024, and growth
    s.addprintf(format.c_str(), text(10000).c_str());
    EXPECT_EQ(s.capacity(), (4 + 4 * 1002 + 1024) * 3 / 2 + 1u);
    EXPECT_EQ(s.length(), s.capacity() - 2); // a terminator, and the byte that stays free
    EXPECT_EQ(s.c_str(), "42-x" + text(s.length() - 4));
}

TEST(Bin, RoomAndZeros) {
    bin_t b("\0", 1);
    b.add(0).add(static_cast<unsigned char>(200)).add(b[2]); // any byte
    EXPECT_EQ(b, bin_t("\0\0\310\310", 4));
    EXPECT_EQ(filled<bin_t>(254).capacity(), 256u);
    EXPECT_EQ(filled<bin_t>(255).capacity(), 383u); // 256 > 255 + 1 fails
    b = bin_t("\1\0\3", 3);
    EXPECT_EQ(b.reverse(), bin_t("\3\0\1", 3));
    EXPECT_NE(bin_t("\3", 1), bin_t("\3\0", 2));
}

TEST(Stream, Room) {
    stream<0> s, n;
    EXPECT_EQ(s.add(0).capacity(), 3u); // asked for 2
    n.need(0);
    EXPECT_EQ(n.capacity(), 0u);
    n.need(10);
    const char* const kept = n.c_str();
    n.need(15); // at least is enough
    n.add("0123456789").clear();
    EXPECT_TRUE(n.c_str() == kept && *kept == 0 && n.capacity() == 15);
}

TEST(Stream, NumbersAndCharacters) {
    stream<0> s;
    s.add(18446744073709551615u).add('A').add(LONG_MIN).add(static_cast<unsigned char>(65));
    s.add(-1).add(static_cast<short>(-20)).add(0ull).add("x", 1);
    EXPECT_STREQ(s.c_str(), "18446744073709551615A-922337203685477580865-1-200x");
}

// What a compiler refuses to hand to `printf`.
static_assert(!std::is_trivially_copy_constructible_v<str_t::place>);

TEST(Stream, SharedBlocksAreCopiedBeforeAWrite) {
    stream<0> a;
    a.add("one");
    stream<0> b(a), c(a);
    b.need(0);
    b.add(" two");
    c.clear();
    EXPECT_EQ(std::string(a.c_str()) + c.c_str(), "one");
    b.add(b.c_str(), b.length()).add(b.c_str());
    EXPECT_STREQ(b.c_str(), "one twoone twoone twoone two");
    // Less than the text of a shared block: room for the text all the same.
    stream<0> d(b), e(b);
    d.need(d.length() - 2);
    e.need(e.length() - 1);
    EXPECT_TRUE(d.capacity() == 28 && e.capacity() == 40 && d.c_str() == std::string(b.c_str()));
    a = std::move(b);
    EXPECT_EQ(std::string(a.c_str()).substr(21) + b.c_str(), "one two");
}

TEST(Stream, FixedTextIsCutWithoutNotice) {
    stream<4096> s;
    s.add(text(4090).c_str()).add(nullptr, 5).addtime(0, "%H:%M:%S").addtime(1, nullptr);
    EXPECT_EQ(s.length(), 4095u);
    EXPECT_EQ(s.c_str()[4092], ':');
    EXPECT_STRNE(stream<7>().addtime(0, "%Y").c_str(), "1970"); // 0 is now
    stream<7> times;
    times.addtime(1, text(100).c_str()); // longer than 99 characters
    EXPECT_EQ(times.addtime(1, text(99).c_str()).c_str(), text(6));
    for (const char* hours : {"03", "05"}) {
        setenv("TZ", (std::string("ABC-") + hours).c_str(), 1);
        EXPECT_STREQ(stream<9>().addtime(86400, "%H").c_str(), hours); // the host's time zone
    }
    unsetenv("TZ");
}

template <class Buffer>
void refuses_sizes_that_wrap(Buffer& (Buffer::*append)(const char*, unsigned long)) {
    for (unsigned long before : {0ul, 5000ul}) {
        auto buffer = filled<Buffer>(before);
        const unsigned long capacity = buffer.capacity();
        for (unsigned long count : {ULONG_MAX, ULONG_MAX - 4999, ULONG_MAX / 2, ULONG_MAX / 8 + 1})
            EXPECT_THROW((buffer.*append)("y", count), std::bad_array_new_length) << count;
        EXPECT_TRUE(buffer.length() == before && buffer.capacity() == capacity);
    }
}

TEST(Buffers, SizesThatWrapAreRefused) {
    refuses_sizes_that_wrap(&str_t::append);
    refuses_sizes_that_wrap(&bin_t::append);
    refuses_sizes_that_wrap<stream<0>>(&stream<0>::add);
    EXPECT_THROW(stream<0>().need(ULONG_MAX), std::bad_array_new_length);
    EXPECT_THROW(str_t::base64code("x", ULONG_MAX, 0), std::bad_array_new_length);
    EXPECT_THROW(str_t::base32code("x", ULONG_MAX, 0, '-'), std::bad_array_new_length);
}

} // namespace
