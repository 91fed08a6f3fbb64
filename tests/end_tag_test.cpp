// Finding the end tag of an element: every quick way against the plain one, byte by byte. Compiles
// the sources of all of them into itself.
#include "support/random.hpp"

#include <orv/xml/end_tag_finder.hpp>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using std::string;

// The end tag at which the tags of that name balance; the size of the text if there is none.
size_t plain_end(const string& text, const string& name) {
    unsigned long depth = 1;
    for (size_t at = 0; (at = text.find('<', at)) < text.size();) {
        const size_t tag = at++;
        const bool is_end_tag = text[at] == '/';
        const size_t from = at + is_end_tag;
        const string found = text.substr(from, text.find_first_of("\t\n\r /=>", from) - from);
        const bool same = strcasecmp(found.c_str(), name.c_str()) == 0;
        if (is_end_tag && same && --depth == 0)
            return tag;
        depth += same && !is_end_tag;
        for (; at < text.size() && text[at] != '>'; ++at) {
            if (!is_end_tag && text[at] == '/' && text[at + 1] == '>')
                depth -= same;
            if (!is_end_tag && (text[at] == '"' || text[at] == '\''))
                at = std::min(text.find(text[at], at + 1), text.size());
        }
    }
    return text.size();
}

// Ends a value as the finder does it, and sees whether the plain way does the same. Returns where
// reading goes on.
char* compare(xml::end_tag_finder& finder, const string& name, char* value) {
    const string text = value;
    char* const nul = value + text.size();
    char* const behind_text = nul[1] == 0 ? nul + 1 : nul;
    const size_t tag = plain_end(text, name);
    const size_t last = text.find('>', tag);
    size_t trimmed = tag;
    while (tag != text.size() && trimmed > 0 && std::strchr(" \t\n", text[trimmed - 1]))
        --trimmed;
    char* const behind = finder.close_value(name.c_str(), value);
    EXPECT_EQ(behind, last == string::npos ? behind_text : value + last + 1)
        << name << " in " << text;
    EXPECT_EQ(value, text.substr(0, trimmed)) << name << " in " << text;
    return behind;
}

// A tag that hides an end tag in an attribute value, so that every "<" has its ">" all the same.
string hidden_end_tag(seeded_random& random) {
    const bool is_single = random.below(2) != 0;
    const string quote = is_single ? "'" : "\"", other = is_single ? "\"" : "'";
    const string within = random.below(2) != 0 ? other : "";
    return "<b t=" + quote + string(random.below(80), '.') + within + "></a " + within +
           string(random.below(80), '.') + quote + ">";
}

string random_text(seeded_random& random) {
    static const std::vector<string> pieces = {
        "<a>",     "</a>",   "<b>",        "</b>", "<a/>",    "<A x=\"1\">",
        "</A >",   "<b t='", "'",          "\"",   "it's",    "</a",
        "<b t=\"", "<",      ">",          "/>",   "<ab>",    " ",
        "</ab>",   "\n",     "<a '>",      "\r",   "</b</a>", "<!-- it's -->",
        "<?x?>",   "</?x>",  "<!x a='<!x'"};
    // Mostly well-formed texts, so that the quick way is taken far, and every degree of mess.
    const size_t kinds = std::vector<size_t>{0, 0, 5, 8, pieces.size()}[random.below(5)];
    const size_t length = random.below(900);
    string text = random.text(random.below(2) * 130, ".");
    while (text.size() < length) {
        if (random.below(40) == 0)
            text += hidden_end_tag(random);
        if (kinds == 0 && random.below(40) != 0)
            text += random.below(2) ? "<b c=\"x\" d=\"y\">text</b>" : "<a><ab/></a >";
        else
            text += pieces[random.below(kinds == 0 ? pieces.size() : kinds)];
    }
    return text;
}

// A text of which nothing is known, one whose end is known, and one that an operation has got deep
// in; then what follows, or what is in the value that was found, at any place, which need not be a
// sane one.
TEST(EndTag, EveryWayFindsTheSameEnd) {
    seeded_random random;
    for (int round = 0; round < 40000 && !HasFailure(); ++round) {
        string text = random_text(random) + string(2, '\0');
        char* at = text.data();
        xml::end_tag_finder finder(at);
        const unsigned long depth = round % 3 == 2 ? 16 : 0;
        if (round % 3 != 0)
            finder.enter(at, depth);
        for (int steps = 0; steps < 12 && *at != 0; ++steps) {
            char* const behind = compare(
                finder, std::vector<const char*>{"a", "b", "?x", "!x", "", "\xC3"}[random.below(6)],
                at);
            if (random.below(2) != 0) {
                at = behind;
            } else {
                at += random.below(1 + std::min<size_t>(std::strlen(at), 40));
                finder.enter(at, depth);
            }
        }
    }
}

} // namespace
