// Finding the end of an element's content: the quick ways against the plain one, byte by byte.
// Compiles xml/content.cpp into itself.
#include <orv/xml/content.hpp>

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <cstring>
#include <random>
#include <string>

namespace {

// What end_content promises, step by step, on a text without NULs: where the value ends, and where
// reading goes on (the size of the text and one for an element that is not closed).
struct ending {
    size_t value_end, behind;
};

bool same_name(const std::string& text, size_t at, const std::string& name) {
    size_t n = 0;
    while (at + n < text.size() && !std::strchr("\t\n\r /=>", text[at + n]))
        ++n;
    if (n != name.size())
        return false;
    for (size_t i = 0; i < n; ++i) {
        if (std::tolower(text[at + i]) != std::tolower(name[i]))
            return false;
    }
    return true;
}

ending reference(const std::string& text, const std::string& name) {
    int depth = 1;
    for (size_t at = 0;;) {
        const size_t tag = text.find('<', at);
        if (tag == std::string::npos)
            return {text.size(), text.size() + 1};
        if (text[tag + 1] == '/') {
            const size_t last = text.find('>', tag);
            if (same_name(text, tag + 2, name) && --depth == 0) {
                size_t end = tag;
                while (end > 0 && std::strchr(" \t\n", text[end - 1]))
                    --end;
                return {end, (last == std::string::npos ? text.size() : last) + 1};
            }
            at = last == std::string::npos ? text.size() : last;
            continue;
        }
        const bool same = same_name(text, tag + 1, name);
        depth += same;
        for (at = tag + 1; at < text.size() && text[at] != '>'; ++at) {
            if (text[at] == '"' || text[at] == '\'') {
                at = text.find(text[at], at + 1);
                if (at == std::string::npos)
                    at = text.size();
            } else if (text[at] == '/' && text[at + 1] == '>' && same) {
                --depth;
            }
        }
    }
}

void compare(const std::string& text, const std::string& name, xml::plain_stretch plain = {}) {
    std::string copy = text + std::string(2, '\0');
    char* const begin = copy.data();
    const ending expected = reference(text, name);
    char* const behind = xml::end_content(name.c_str(), begin, begin + text.size(), plain);
    EXPECT_EQ(static_cast<size_t>(behind - begin), expected.behind) << name << " in " << text;
    EXPECT_EQ(std::strlen(begin), expected.value_end) << name << " in " << text;
}

TEST(Content, EveryWayFindsTheSameEnd) {
    const char* const pieces[] = {"<a>",
                                  "</a>",
                                  "<b>",
                                  "</b>",
                                  "<a/>",
                                  "<A x=\"1\">",
                                  "</A >",
                                  "<b t='",
                                  "'",
                                  "\"",
                                  "<b t=\"",
                                  "it's",
                                  "</a",
                                  "<",
                                  ">",
                                  "/>",
                                  "<ab>",
                                  "</ab>",
                                  "<!-- -->",
                                  " ",
                                  "\n",
                                  "\r",
                                  "<a t='>'>",
                                  "<b t=\"</a>\"/>",
                                  "<b c=\"x\" d=\"y\">",
                                  "some text that is not short at all"};
    std::mt19937 random(20240501);
    for (int round = 0; round < 60000; ++round) {
        // Mostly well-formed texts, so that the quick way is taken far, and every degree of mess.
        const unsigned mess = random() % 4 == 0 ? 26 : random() % 2 == 0 ? 8 : 4;
        const size_t length = random() % 700;
        std::string text = random() % 2 != 0 ? std::string(random() % 130, '.') : "";
        while (text.size() < length) {
            if (random() % 40 == 0)
                text += pieces[random() % 26];
            else if (mess == 4)
                text += random() % 2 ? "<b c=\"x\" d=\"y\">text</b>" : "<a><ab/></a >";
            else
                text += pieces[random() % mess];
        }
        compare(text, round % 3 == 0 ? "b" : round % 3 == 1 ? "a" : "?xml");
        if (HasFailure())
            return;
    }
}

// What was checked of an outer element holds for the inner ones.
TEST(Content, AStretchServesTheElementsInIt) {
    std::string text;
    for (int i = 0; i < 50; ++i)
        text += "<c d=\"e\"><b>text, and quite some of it, so that the quick way is taken</b></c>";
    const std::string outer = text + "</a>" + std::string(200, '>'); // what follows is not plain
    std::string copy = outer + std::string(2, '\0');
    xml::plain_stretch plain;
    xml::end_content("a", copy.data(), copy.data() + outer.size(), plain);
    EXPECT_EQ(plain.begin, copy.data());
    EXPECT_EQ(plain.end, copy.data() + text.size());
    char* const inner = copy.data() + 9; // behind the first <c ...>
    EXPECT_EQ(xml::end_content("c", inner, copy.data() + text.size(), plain) - inner,
              static_cast<long>(text.size() / 50) - 9);
}

// Each element has a start tag of its own name in quotes, so that a quick search finds one end tag
// too few and, if nothing stops it, looks for it in all the elements that follow.
TEST(Content, AMisledSearchDoesNotGoOnThroughTheWholeText) {
    std::string text;
    while (text.size() < 4000000)
        text += "<a>" + std::string(100, '.') + "<b t=\"<a>\"/></a>";
    std::string copy = text + std::string(2, '\0');
    char* const end = copy.data() + text.size();
    const auto start = std::chrono::steady_clock::now();
    xml::plain_stretch plain;
    for (char* at = copy.data(); at < end;)
        at = xml::end_content("a", at + 3, end, plain);
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(20)); // it took minutes, by the measure of smaller ones
}

} // namespace
