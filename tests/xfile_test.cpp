// Opening, closing and reading files by lines.
#include <orv/store/xfile.hpp>

#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <vector>

namespace {

using lines = std::vector<std::string>;

std::string x(unsigned long count) { return std::string(count, 'x'); }

TEST(XFile, Lines) {
    const struct {
        const char* name;
        std::string text;
        lines expected;
    } rows[] = {
        {"no text", "", {}},
        {"pairs", "a\r\nb\n\rc\n\nd\r\re", {"a", "b", "c", "", "d", "", "e"}},
        {"NULs", std::string("a\0b\0\nc\r\0", 8), {"a", "b", "", "c", ""}},
        {"a piece ends in LF", x(254) + "\ny", {x(254) + "y"}},
        {"a piece ends in CR, a pair follows", x(254) + "\r\n\ry", {x(254), "y"}},
        {"a piece ends in LF, the file too", x(254) + "\n", {x(254)}},
        {"a piece ends in a pair", x(253) + "\r\ny", {x(253), "y"}},
        {"a piece ends in NUL", x(254) + std::string("\0y", 2), {x(254), "y"}},
        {"a lone terminator", "\n", {""}},
        {"joined twice", x(254) + "\n" + x(254) + "\ny", {x(508) + "y"}},
    };
    const temporary_directory directory;
    for (const auto& row : rows) {
        write_file(directory.file(), row.text);
        ORV::xfile file;
        EXPECT_TRUE(file.open(directory.file().c_str(), "rb"));
        str_t line("what was there before");
        lines found;
        while (found.size() < 10 && file.read(line))
            found.emplace_back(line.c_str(), line.length());
        EXPECT_EQ(found, row.expected) << row.name;
    }
}

TEST(XFile, OpenAndClose) {
    const temporary_directory directory;
    const std::string path = directory.file(), missing = directory.file("missing");
    ORV::xfile file;
    str_t line;
    EXPECT_FALSE(file.read(line));
    ASSERT_TRUE(file.open(path.c_str(), "w+b"));
    const int descriptor = fileno(file.handle);
    file.flag = true;
    EXPECT_FALSE(file.open(missing.c_str(), "rb"));
    EXPECT_FALSE(file.flag);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);       // closed, though no other was opened
    EXPECT_TRUE(file.open(file.path.c_str(), "rb")); // by its own text
}

} // namespace
