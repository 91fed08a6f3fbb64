// Opening, closing and reading files by lines.
#include <orv/store/xfile.hpp>

#include "support/random.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <vector>

namespace {

using lines = std::vector<std::string>;

std::string x(unsigned long count) { return std::string(count, 'x'); }

// The rules for reading a line, over a text in memory.
struct reference {
    std::string text;
    unsigned long at = 0;

    bool read(std::string& line) {
        for (line.clear();;) {
            const std::string piece = text.substr(at, 255);
            const bool full = piece.size() == 255;
            const unsigned long end = piece.find_first_of(std::string("\r\n\0", 3));
            line += piece.substr(0, end);
            if (end == std::string::npos) {
                at += piece.size();
                if (piece.empty())
                    return !line.empty();
                if (!full)
                    return true;
                continue;
            }
            at += end + 1;
            if (piece[end] == 0)
                return true;
            const bool last = end + 1 == piece.size();
            if (!last && piece[end + 1] == (piece[end] == '\r' ? '\n' : '\r')) {
                ++at;
                return true;
            }
            if (!last || !full)
                return true;
        }
    }
};

template <class Reader>
lines all_lines(Reader read) {
    lines result;
    for (std::string line; result.size() < 50000 && read(line);)
        result.push_back(line);
    return result;
}

lines read_with_xfile(const std::string& path) {
    ORV::xfile file;
    EXPECT_TRUE(file.open(path.c_str(), "rb"));
    str_t text("what was there before");
    lines result = all_lines([&](std::string& line) {
        const bool more = file.read(text);
        line.assign(text.c_str(), text.length());
        return more;
    });
    EXPECT_FALSE(file.read(text)); // and again
    EXPECT_TRUE(text.empty());
    return result;
}

TEST(XFile, Lines) {
    const struct {
        const char* name;
        std::string text;
        lines expected;
    } rows[] = {
        {"no text", "", {}},
        {"a pair", "a\r\nb", {"a", "b"}},
        {"the other pair", "a\n\rb\n", {"a", "b"}},
        {"not a pair", "a\n\nb\r\rc", {"a", "", "b", "", "c"}},
        {"pairs are taken from the left", "\r\n\r\n\n\r", {"", "", ""}},
        {"a lone terminator", "\n", {""}},
        {"NULs", std::string("a\0b\0\nc\r\0", 8), {"a", "b", "", "c", ""}},
        {"600 bytes", x(600) + "\ny", {x(600), "y"}},
        {"one piece", x(255), {x(255)}},
        {"one piece and a byte", x(256), {x(256)}},
        {"a terminator opens the next piece", x(255) + "\ny", {x(255), "y"}},
        {"a piece ends in LF", x(254) + "\ny", {x(254) + "y"}},
        {"a piece ends in CR, LF follows", x(254) + "\r\ny", {x(254), "y"}},
        {"a piece ends in CR, a pair follows", x(254) + "\r\n\ry", {x(254), "y"}},
        {"a piece ends in LF, the file too", x(254) + "\n", {x(254)}},
        {"a piece ends in a pair", x(253) + "\r\ny", {x(253), "y"}},
        {"a piece ends in NUL", x(254) + std::string("\0y", 2), {x(254), "y"}},
        {"a short piece ends in LF", x(253) + "\n", {x(253)}},
        {"joined twice", x(254) + "\n" + x(254) + "\ny", {x(508) + "y"}},
    };
    temporary_directory directory;
    for (const auto& row : rows) {
        write_file(directory.file(), row.text);
        EXPECT_EQ(read_with_xfile(directory.file()), row.expected) << row.name;
    }
}

TEST(XFile, LinesOfRandomTexts) {
    temporary_directory directory;
    seeded_random random;
    for (int round = 0; round < 50; ++round) {
        reference expected;
        while (expected.text.size() < 12000) {
            // Mostly near the ends of pieces.
            expected.text += x(random.below(2) ? 248 + random.below(9) : random.below(600));
            expected.text += random.text(1 + random.below(3), std::string("\r\n\r\n\0x", 6));
        }
        write_file(directory.file(), expected.text);
        ASSERT_EQ(read_with_xfile(directory.file()),
                  all_lines([&](std::string& line) { return expected.read(line); }));
    }
}

TEST(XFile, OpenAndClose) {
    temporary_directory directory;
    const std::string path = directory.file(), missing = directory.file("missing");
    ORV::xfile file;
    str_t line("kept");
    EXPECT_FALSE(file.read(line));
    EXPECT_STREQ(line.c_str(), "kept");

    file.flag = true;
    ASSERT_TRUE(file.open(path.c_str(), "w+b"));
    EXPECT_FALSE(file.flag);
    EXPECT_STREQ(file.path.c_str(), path.c_str());
    const int descriptor = fileno(file.handle);

    file.flag = true;
    EXPECT_FALSE(file.open(missing.c_str(), "rb"));
    EXPECT_FALSE(file.flag);
    EXPECT_EQ(file.handle, nullptr);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1); // closed, though no other was opened
    EXPECT_STREQ(file.path.c_str(), path.c_str());
    EXPECT_TRUE(file.open(file.path.c_str(), "rb")); // by its own text
    file.close();
    file.close();
    EXPECT_FALSE(file.read(line));

    int last;
    {
        ORV::xfile other;
        ASSERT_TRUE(other.open(directory.file("").c_str(), "rb")); // a directory opens,
        EXPECT_FALSE(other.read(line));                            // and has no lines
        last = fileno(other.handle);
    }
    EXPECT_EQ(fcntl(last, F_GETFD), -1);
}

} // namespace
