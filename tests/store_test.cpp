// The settings in memory: the C functions, paths, sizes, and what a set changes.
#include <orv/orv.hpp>

#include <gtest/gtest.h>

#include <climits>

namespace {

// A library object without a file.
struct Store : testing::Test {
    Store() { g_Kernel = &kernel; }
    ~Store() override { g_Kernel = nullptr; }
    ORV::kernel kernel;
};

std::string get(const char* section, const char* key) {
    char text[100];
    int size = sizeof text - 1;
    return ORVSC_GetString(section, key, text, &size, "(none)");
}

TEST_F(Store, SizesAndWhatIsCopied) {
    const struct {
        const char *value, *def; // no value: no such setting
        int size, size_after, whole;
        std::string bytes; // all that is written
    } rows[] = {
        {"hello", "", 5, 5, 6, {"hello\0", 6}},
        {"hello", "", INT_MAX, 6, 6, {"hello\0\0", 7}},
        {"hello", "", INT_MIN, 0, 6, {"\0", 1}},
        {"", "abc", 9, 1, 1, {"\0\0", 2}}, // the default replaces no empty value
        {nullptr, "abc", 2, 2, 4, {"ab\0", 3}},
        {nullptr, nullptr, 9, 1, 1, {"\0\0", 2}},
    };
    for (const auto& row : rows) {
        ORVSC_SetString("s", "k", row.value);
        const char* const key = row.value ? "k" : "missing";
        std::string buf(12, '#');
        int size = row.size;
        EXPECT_EQ(ORVSC_GetString("s", key, buf.data(), &size, row.def), buf.data());
        EXPECT_EQ(size, row.size_after) << row.bytes << ' ' << row.size;
        EXPECT_EQ(buf, row.bytes + std::string(12 - row.bytes.size(), '#')) << row.size;
        EXPECT_EQ(ORVSC_GetString("s", key, nullptr, &size, row.def), nullptr);
        EXPECT_EQ(size, row.whole);
    }
    char buf[] = "##default";
    EXPECT_EQ(ORVSC_GetString("s", "k", buf, nullptr, nullptr), buf); // no size is 0
    EXPECT_EQ(std::string(buf, sizeof buf), std::string("\0#default\0", 10));
    int size = 100;
    EXPECT_STREQ(ORVSC_GetString("s", "missing", buf, &size, buf + 2), "default"); // from itself
    g_Kernel = nullptr; // without a store a get returns the default itself, and a set does nothing
    ORVSC_SetInt("s", "k", 1);
    ORVSC_SetString("s", "k", "x");
    EXPECT_EQ(ORVSC_GetInt("s", "k", 7), 7);
    EXPECT_EQ(ORVSC_GetString("s", "k", buf, &size, buf + 4), buf + 4);
    EXPECT_EQ(ORVSC_GetString("s", "k", buf, nullptr, nullptr), nullptr);
    EXPECT_EQ(buf + std::to_string(size), "default8");
    ORV_close();
}

TEST_F(Store, Paths) {
    const struct {
        const char *set_section, *set_key, *value, *section, *key, *expected;
    } rows[] = {
        {"Sec/a//b/", "//Key", "1", "sEC/A", "b/kEY", "1"},
        {"m", "k", "<a>1</a><b>2</b>", "m/k", "b", "2"}, // looks like markup, and is expanded
        {"o", "p", "", "o", "p", ""},
        {"o/p", "q", "6", "o/p/q", "below", "(none)"},
        {"o", "p", nullptr, "o/p", "q", "6"},          // reads as empty already: nothing changes
        {"o", "p", "text", "o/p", "q", "(none)"},      // a set makes a plain text
        {nullptr, nullptr, "all", "o", "p", "(none)"}, // the whole document
    };
    for (const auto& row : rows) {
        ORVSC_SetString(row.set_section, row.set_key, row.value);
        EXPECT_EQ(get(row.section, row.key), row.expected) << row.value;
    }
}

TEST_F(Store, Numbers) {
    const std::pair<const char*, int> rows[] = {{"x", 0}, {" +5abc", 5}, {"-2147483648", INT_MIN}};
    for (const auto& [text, value] : rows) {
        ORVSC_SetString("r", "k", text);
        EXPECT_EQ(ORVSC_GetInt("r", "k", 99), value) << text;
        ORVSC_SetInt("r", "k", value); // the same number: the text stays
        EXPECT_EQ(get("r", "k"), text);
        ORVSC_SetInt("r", "k", value + 1);
        EXPECT_EQ(get("r", "k"), std::to_string(value + 1));
    }
    EXPECT_EQ(ORVSC_GetInt("r", "missing", 99), 99);
}

TEST_F(Store, TextsAreUnescapedAndCutAsBySnprintf) {
    ORVSC_SetString("s", "k", "a &#60; b &amp;amp; &no; ");
    EXPECT_EQ(ORVSC_SetText("s", "null", nullptr), 1);
    const struct {
        const char *key, *def;
        int size, result;
        std::string bytes; // all that is written
    } rows[] = {
        {"k", "", 99, 17, {"a < b &amp; &no; \0", 18}},
        {"k", "", 17, 17, {"a < b &amp; &no;\0", 17}},
        {"k", "", 1, 17, {"\0", 1}},
        {"k", "", 0, 17, ""},
        {"null", "abc", 99, 0, {"\0", 1}},
        {"none", "&amp;", 99, 5, {"&amp;\0", 6}}, // as it is
        {"none", nullptr, 99, -1, {"\0", 1}},
    };
    for (const bool is_open : {true, false}) {
        for (const auto& row : rows) {
            if (!is_open && row.key != std::string("none"))
                continue;
            std::string buf(99, '#');
            EXPECT_EQ(ORVSC_GetText("s", row.key, buf.data(), row.size, row.def), row.result);
            EXPECT_EQ(buf, row.bytes + std::string(99 - row.bytes.size(), '#')) << row.size;
            EXPECT_EQ(ORVSC_GetText("s", row.key, nullptr, row.size, row.def), row.result);
        }
        char buf[] = "##default";
        EXPECT_EQ(ORVSC_GetText("s", "none", buf, 8, buf + 2), 7); // from itself
        EXPECT_STREQ(buf, "default");
        g_Kernel = nullptr;
    }
    EXPECT_EQ(ORVSC_SetText("s", "k", "x") + ORVSC_Remove("s", "k") + ORVSC_Reloads(), 0);
    EXPECT_EQ(ORVSC_GetNames(nullptr, nullptr, 0), -1);
}

std::string names(const char* section) {
    char text[100];
    const int length = ORVSC_GetNames(section, text, sizeof text);
    return length < 0 ? std::string("none") + text : std::string(text, text + length);
}

TEST_F(Store, NamesAreListedAndTakenOut) {
    ORVSC_SetString("b", "m", "<x>1</x><y>2</y><X>3</X><~ORV/>"); // pending, with a name twice
    ORVSC_SetText("a/c", "k", "1");
    ORVSC_SetText("a", "t", "2");
    ORVSC_SetString("~orv", "", ""); // the marker, as a saved document has it
    EXPECT_EQ(names(nullptr), "a\nb\n");
    EXPECT_EQ(names("A/"), "c\nt\n");
    EXPECT_EQ(names("b/m"), "x\ny\n~ORV\n"); // there it is a name like any other
    EXPECT_EQ(names("a/t"), "");
    EXPECT_EQ(names("a/none"), "none");
    const struct {
        const char *section, *key;
        int result;
    } rows[] = {{"b/m", "x", 1},    {"b/m", "x", 0},       {"a//C", "/K/", 1}, {nullptr, "a/t", 1},
                {"b", nullptr, 1},  {nullptr, nullptr, 0}, {"/", "", 0},       {"", "~ORV", 0},
                {"~orv/x", "y", 0}, {"none", "k", 0}};
    for (const auto& row : rows)
        EXPECT_EQ(ORVSC_Remove(row.section, row.key), row.result) << row.section << row.key;
    EXPECT_EQ(names(nullptr), "a\n");
    EXPECT_EQ(names("a"), "c\n");
    EXPECT_EQ(get("b/m", "y"), "(none)");
    for (const char* name : {"", "a/b c", "a\tb", "a\nb", "a\rb", "a=b", "a>b", "a<b", "a\"b",
                             "a'b", "~ORV", "/~orv/a"})
        EXPECT_EQ(ORVSC_SetText("", name, "x"), 0) << name;
    EXPECT_EQ(names(nullptr), "a\n");
}

} // namespace
