// Opening, closing and reading files by lines.
#include <orv/store/xfile.hpp>

#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <vector>

namespace {

using lines = std::vector<std::string>;

std::string x(unsigned long count) { return std::string(count, 'x'); }

lines read_lines(const std::string& path) {
    ORV::xfile file;
    EXPECT_TRUE(file.open(path.c_str(), "rb"));
    str_t line("what was there before");
    lines result;
    while (result.size() < 10 && file.read(line))
        result.emplace_back(line.c_str(), line.length());
    EXPECT_FALSE(file.read(line)); // and again
    EXPECT_TRUE(line.empty());
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
        {"a terminator opens the next piece", x(255) + "\ny", {x(255), "y"}},
        {"a piece ends in LF", x(254) + "\ny", {x(254) + "y"}},
        {"a piece ends in CR, LF follows", x(254) + "\r\ny", {x(254), "y"}},
        {"a piece ends in CR, a pair follows", x(254) + "\r\n\ry", {x(254), "y"}},
        {"a piece ends in CR, another follows", x(254) + "\r\r\ny", {x(254), "y"}},
        {"a piece ends in LF, the file too", x(254) + "\n", {x(254)}},
        {"a piece ends in a pair", x(253) + "\r\ny", {x(253), "y"}},
        {"a piece ends in NUL", x(254) + std::string("\0y", 2), {x(254), "y"}},
        {"a short piece ends in LF", x(253) + "\n", {x(253)}},
        {"the second piece ends in a pair", x(508) + "\r\ny\n\nz", {x(508), "y", "", "z"}},
        {"a pair across the end of the second piece", x(509) + "\r\ny", {x(509), "y"}},
        {"joined twice", x(254) + "\n" + x(254) + "\ny", {x(508) + "y"}},
    };
    temporary_directory directory;
    for (const auto& row : rows) {
        write_file(directory.file(), row.text);
        EXPECT_EQ(read_lines(directory.file()), row.expected) << row.name;
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
