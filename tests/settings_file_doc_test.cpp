// The worked example of docs/settings-file.md, both ways.
#include <orv/orv.hpp>

#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// What stands in the page's fenced block of that name.
std::string block(const std::string& name) {
    static const std::string page = read_file(ORV_DOCS "/settings-file.md");
    const std::string begin = "\n```" + name + "\n";
    const std::size_t at = page.find(begin);
    EXPECT_NE(at, std::string::npos) << name;
    const std::size_t from = at + begin.size();
    return page.substr(from, page.find("```", from) - from);
}

std::string unhex(const std::string& digits) {
    std::istringstream in(digits);
    std::string bytes;
    for (unsigned byte; in >> std::hex >> byte;)
        bytes += static_cast<char>(byte);
    return bytes;
}

struct Example : testing::Test {
    temporary_directory directory;
    std::string path = directory.file();
    std::string key = block("key").substr(0, 32);
    std::string file = unhex(block("file"));
};

TEST_F(Example, Writes) {
    ASSERT_EQ(ORV_open(path.c_str(), key.c_str()), ORV_OPEN_NEW);
    ORVSC_SetInt("window", "width", 800);
    ORVSC_SetString("user", "name", "Ada");
    ORV_close();
    EXPECT_EQ(read_file(path), file);
}

TEST_F(Example, Reads) {
    write_file(path, file);
    ASSERT_EQ(ORV_open(path.c_str(), key.c_str()), ORV_OPEN_LOADED);
    EXPECT_EQ(ORVSC_GetInt("window", "width", 0), 800);
    char name[8];
    int size = sizeof name - 1;
    EXPECT_STREQ(ORVSC_GetString("user", "name", name, &size, ""), "Ada");
    ORV_close();
}

TEST_F(Example, TheStepsBetween) {
    const std::string plain = "ORV" + block("text"), blocks = unhex(block("blocks"));
    EXPECT_EQ(plain.size(), 119u);
    ASSERT_EQ(file.size(), 128u);
    ASSERT_EQ(blocks.size(), 128u);
    std::string from_blocks;
    for (unsigned long at = 0; at < blocks.size(); at += 16)
        from_blocks += blocks.substr(at + 1, static_cast<unsigned char>(blocks[at]));
    EXPECT_EQ(from_blocks, plain);

    ORV::aes cipher;
    cipher.setkey_dec(reinterpret_cast<unsigned char*>(key.data()), 256);
    std::string chain(16, '\0');
    for (unsigned long at = 0; at < file.size(); at += 16) {
        std::string one = file.substr(at, 16);
        cipher.crypt_ecb(ORV::aes::mode_decrypt, reinterpret_cast<unsigned char*>(one.data()),
                         reinterpret_cast<unsigned char*>(one.data()));
        for (unsigned long i = 0; i < 16; ++i)
            one[i] = static_cast<char>(one[i] ^ chain[i]);
        EXPECT_EQ(one, blocks.substr(at, 16)) << at;
        chain = file.substr(at, 16);
    }
}

} // namespace
