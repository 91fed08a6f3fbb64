// The settings in memory: the C functions, paths, sizes, and what a set changes.
#include <orv/orv.hpp>

#include "fuzz/support.hpp"
#include "support/allocations.hpp"
#include "support/random.hpp"

#include <gtest/gtest.h>

#include <climits>

namespace {

// A library object without a file.
struct Store : testing::Test {
    Store() { g_Kernel = &kernel; }
    ~Store() override { g_Kernel = nullptr; }
    ORV::kernel kernel;
};

std::string get(const char* section, const char* key, const char* def = "(none)") {
    int size = -1;
    EXPECT_EQ(ORVSC_GetString(section, key, nullptr, &size, def), nullptr);
    std::string text(static_cast<unsigned>(size), '?');
    EXPECT_EQ(ORVSC_GetString(section, key, text.data(), &size, def), text.data());
    EXPECT_EQ(text.size(), static_cast<unsigned>(size));
    return text.c_str();
}

TEST(NoStore, GetsReturnTheDefaultAndSetsDoNothing) {
    ORVSC_SetInt("a", "b", 1);
    ORVSC_SetString("a", "b", "x");
    EXPECT_EQ(ORVSC_GetInt("a", "b", 7), 7);
    char buf[] = "kept";
    int size = 3;
    const char* const def = "default";
    EXPECT_EQ(ORVSC_GetString("a", "b", buf, &size, def), def);
    EXPECT_EQ(ORVSC_GetString("a", "b", buf, nullptr, nullptr), nullptr);
    EXPECT_STREQ(buf, "kept");
    EXPECT_EQ(size, 3);
    ORV_close();
}

TEST_F(Store, SizesAndWhatIsCopied) {
    const struct {
        const char *value, *def; // no value: no such setting
        int size, size_after;
        std::string bytes; // all that is written
    } rows[] = {
        {"hello", "", 5, 5, {"hello\0", 6}},
        {"hello", "", 6, 6, {"hello\0\0", 7}},
        {"hello", "", INT_MAX, 6, {"hello\0\0", 7}},
        {"hello", "", 0, 0, {"\0", 1}},
        {"hello", "", -1, 0, {"\0", 1}},
        {"hello", "", INT_MIN, 0, {"\0", 1}},
        {"", "abc", 9, 1, {"\0\0", 2}}, // the default replaces no empty value
        {nullptr, "abc", 9, 4, {"abc\0\0", 5}},
        {nullptr, "abc", 2, 2, {"ab\0", 3}},
        {nullptr, nullptr, 9, 1, {"\0\0", 2}},
    };
    for (const auto& row : rows) {
        if (row.value)
            ORVSC_SetString("s", "k", row.value);
        const char* const key = row.value ? "k" : "missing";
        std::string buf(12, '#');
        int size = row.size;
        EXPECT_EQ(ORVSC_GetString("s", key, buf.data(), &size, row.def), buf.data());
        EXPECT_EQ(size, row.size_after) << row.bytes << ' ' << row.size;
        EXPECT_EQ(buf, row.bytes + std::string(12 - row.bytes.size(), '#')) << row.size;
    }
    char buf[] = "##default";
    EXPECT_EQ(ORVSC_GetString("s", "k", buf, nullptr, nullptr), buf); // no size is 0
    EXPECT_EQ(std::string(buf, sizeof buf), std::string("\0#default\0", 10));
    EXPECT_EQ(ORVSC_GetString("s", "k", nullptr, nullptr, nullptr), nullptr);
    int size = 100;
    EXPECT_STREQ(ORVSC_GetString("s", "missing", buf, &size, buf + 2), "default"); // from itself
}

TEST_F(Store, SectionAndKeyArePaths) {
    const struct {
        const char *set_section, *set_key, *section, *key;
    } rows[] = {
        {"Sec", "Key", "sEC", "kEY"},   {"net/proxy", "host", "net", "proxy/host"},
        {"/a//b/", "//c", "a", "b/c"},  {nullptr, "d/e", "d", "e"},
        {"f", nullptr, "", "f"},        {"g/h", "", nullptr, "g/h"},
        {"i j", "k=l", "i>m", "k\tn/"}, {"\xC3\x84", "\x80", "\xC3\x84", "\x80"},
        {"\n", " ", "=", ">"}, // empty names
    };
    for (const auto& row : rows) {
        ORVSC_SetString(row.set_section, row.set_key, row.set_key ? row.set_key : "null");
        EXPECT_EQ(get(row.section, row.key), row.set_key ? row.set_key : "null");
    }
    EXPECT_EQ(get("a", "c"), "(none)");
    EXPECT_EQ(get("Sec/Key", "below"), "(none)");
}

TEST_F(Store, Numbers) {
    for (const int value : {0, 800, -1, INT_MAX, INT_MIN}) {
        ORVSC_SetInt("n", "k", value);
        EXPECT_EQ(get("n", "k"), std::to_string(value));
        EXPECT_EQ(ORVSC_GetInt("n", "k", 99), value);
    }
    const struct {
        const char* text;
        int value;
    } rows[] = {{"", 0}, {"x", 0}, {" 5", 5}, {"5abc", 5}, {"+7", 7}, {"-", 0}, {"0x10", 0}};
    for (const auto& row : rows) {
        ORVSC_SetString("r", "k", row.text);
        EXPECT_EQ(ORVSC_GetInt("r", "k", 99), row.value) << row.text;
        ORVSC_SetInt("r", "k", row.value); // the same number: the text stays
        EXPECT_EQ(get("r", "k"), row.text);
        ORVSC_SetInt("r", "k", row.value + 1);
        EXPECT_EQ(get("r", "k"), std::to_string(row.value + 1));
    }
    EXPECT_EQ(ORVSC_GetInt("r", "missing", 99), 99);
}

TEST_F(Store, ASetMakesAPlainText) {
    ORVSC_SetInt("s/t", "a", 1);
    ORVSC_SetString("s", "t", nullptr); // reads as empty already: nothing changes
    EXPECT_EQ(get("s/t", "a"), "1");
    ORVSC_SetString("s", "t", "text");
    EXPECT_EQ(get("s/t", "a"), "(none)");
    EXPECT_EQ(get("s", "t"), "text");
    ORVSC_SetInt("s", nullptr, 5);
    EXPECT_EQ(get("s", "t"), "(none)");
    ORVSC_SetString(nullptr, nullptr, "all"); // the whole document
    EXPECT_EQ(get("s", nullptr), "(none)");
    EXPECT_EQ(get(nullptr, nullptr), "all");
    EXPECT_EQ(get("", ""), "all");
    ORVSC_SetString("s", "new", nullptr);
    EXPECT_EQ(get("s", "new"), "");
}

TEST(Config, WhatSetsTheChangedFlag) {
    ORV::sconfig config;
    EXPECT_STREQ(config.doc.name, "root");
    EXPECT_STREQ(config.doc.value, "");
    const struct {
        int value;
        bool changed;
    } rows[] = {{0, true}, {0, false}, {7, true}, {7, false}};
    for (const auto& row : rows) {
        config.changed = false;
        config.setInt("s", "k", row.value);
        EXPECT_EQ(config.changed, row.changed);
    }
    bool created;
    config.doc.get("s", "k")->attributes.set("unit", "px", created);
    config.doc.get("s", "k/below", created);
    config.setInt("s", "k", 8);
    EXPECT_EQ(config.doc.get("s", "k")->children.count, 0u);
    EXPECT_STREQ(config.doc.get("s", "k")->attributes.items[0].value, "px"); // stays
    config.changed = false;                                                  // nothing to write
}

TEST_F(Store, WhatIsThereCostsNoAllocation) {
    for (int i = 0; i < 1000; ++i)
        ORVSC_SetInt(("section" + std::to_string(i / 20)).c_str(),
                     ("key" + std::to_string(i % 20)).c_str(), i);
    char buf[16];
    const unsigned long before = support::allocations();
    ORVSC_SetInt("section7", "key3", 143);
    ORVSC_SetString("section7", "key3", "143");
    int size = sizeof buf - 1;
    ORVSC_GetString("section49", "key19", buf, &size, "");
    ORVSC_GetString("section49", "missing", buf, &size, "");
    EXPECT_EQ(ORVSC_GetInt("section0", "key0", 9), 0);
    EXPECT_EQ(support::allocations(), before);
    ORVSC_SetInt("section7", "key3", 144);
    EXPECT_NE(support::allocations(), before); // the count works
}

// A value may look like markup, and is expanded when a key below it is asked for.
TEST_F(Store, ValuesThatLookLikeMarkup) {
    const struct {
        const char *value, *below, *expected;
    } rows[] = {
        {"<a>1</a><b>2</b>", "b", "2"}, {"<", "a", "(none)"}, {"<a b='", "a", ""},
        {"</a>", "a", "(none)"},        {"<a></a", "a", ""},  {"x<a>1</a>", "a", "(none)"},
    };
    for (const auto& row : rows) {
        ORVSC_SetString("s", "k", row.value);
        EXPECT_EQ(get("s", "k"), row.value);
        EXPECT_EQ(get("s/k", row.below), row.expected) << row.value;
    }
}

// By the fuzz target: calls with any names, values and sizes, also made on a model.
TEST(Model, RandomCalls) {
    seeded_random random;
    const std::string alphabet("<<<>>//==\"'`ab \t\n\r!?-~\x01\x80\xff\0\0\0\0\0\0", 32);
    for (int i = 0; i < 300; ++i)
        ASSERT_NO_THROW(fuzz::run(random.text(random.below(2000), alphabet)));
}

} // namespace
