// Documents: reading, looking up, ordering, writing, and who owns which text. (Any text, and any
// operations on it, are for their fuzz target.)
//
// An item is shown as name{attributes}=value(children), without the "=" where the value is null and
// with "-" for a null name.
#include "support/guarded_page.hpp"
#include "support/random.hpp"

#include <orv/bigint/ubigint.hpp>
#include <orv/xml/escape.hpp>
#include <orv/xml/root.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <thread>
#include <vector>

namespace {

using std::string;

string shown(const xml::item& item) {
    string line = item.name ? string(item.name, item.nameLength()) : "-";
    const auto list = [&line](const xml::list& items, char opens, char closes) {
        for (unsigned long i = 0; i < items.count; ++i)
            (line += i == 0 ? opens : ',') += shown(items.items[i]);
        line += items.count == 0 ? "" : string(1, closes);
    };
    list(item.attributes, '{', '}');
    line += item.value ? string("=") + item.value : "";
    list(item.children, '(', ')');
    return line;
}

// Has every element parsed: no text below has that name.
void expand_all(xml::item& item) { EXPECT_EQ(item.search("\x01none"), nullptr); }

xml::root parsed(const string& text) {
    xml::root document;
    document.load(text.data(), text.size());
    return document;
}

// --- Reading ---------------------------------------------------------------------------------

// "|" in the text marks where reading stops, "||" behind the first NUL; without one it is null.
TEST(Parser, ReadsOneElement) {
    struct {
        const char *text, *shown;
    } const rows[] = {
        // elements and where they end
        {"text <a>x</a>|  <b/>", "a=x"},
        {"<a>x</a \t junk='>|' >", "a=x"},
        // no element
        {"text </a><b/>", "-"},
        {"|", "-"},
        // texts that end early
        {"<a/|", "a"},
        {"<a b='1|", "a{b=1}"},
        {"<a>text<||", "a=text<"},
        {"<a><b c='></a>||", "a=<b c='></a>"},
        // no quotes in tags that are skipped
        {"<a><b t=`>x</a>|`", "a=<b t=`>x"},
        // trimming: of all white space in front, of all but CR behind
        {"<a>  \t\r\n </a>|", "a="},
        {"<a> \t\nx \r\n\t </a>|", "a=x \r"},
        // attributes
        {"<a x='1' y=\"2\" w=4 v z=`3`>t</a>|", "a{v,w=4,x=1,y=2,z=3}=t"},
        {"<a\tx\n=\r'1'/>|", "a{=1,x}"},
        {"<a x= '1' y=\n2 z=/>|", "a{x=1,y=2,z=}"},
        {"<a x='\"`>/' y=\"'\"/>|", "a{x=\"`>/,y='}"},
        {"<a x=<b>t</a>|", "a{x=<b}=t"},
        // a "/" that does not end the tag is stepped over
        {"<a / x/y //>|t</a>", "a{x,y}"},
        {"<a/b x=1/2>t</a>|", "a{2,b,x=1}=t"},
        // what is no XML to others
        {"<?xml version='1.0'?><r>x</r>||", "?xml{?,version=1.0}=<r>x</r>"},
        {"<!-- c --><r/>||", "!--{--,c}=<r/>"},
    };
    for (const auto& row : rows) {
        string text = row.text;
        const long mark = static_cast<long>(text.find('|'));
        const bool behind = text.find("||") != string::npos;
        text.erase(std::remove(text.begin(), text.end(), '|'), text.end());
        // The second NUL of the buffer is the last byte that can be read. Blanks in front of the
        // text, which reading ignores, align the header.
        const unsigned long blanks = (14 - text.size() % 8) % 8;
        text = string(sizeof(xml::buffer) + blanks, ' ') + text + string(2, '\0');
        auto* const buffer = new (copy_before_guard(text)) xml::buffer;
        buffer->refs = 1;
        char* const start = buffer->text() + blanks;
        {
            xml::item item;
            const char* const stop = item.loadTag(buffer, start);
            EXPECT_EQ(shown(item), row.shown) << row.text;
            EXPECT_EQ(stop ? stop - start : -1, mark + behind) << row.text;
            expand_all(item);
        }
        EXPECT_EQ(buffer->refs, 1u) << row.text;
    }
}

// --- Order -----------------------------------------------------------------------------------

TEST(List, NamesSortAsSignedBytesWithoutRegardToCase) {
    // In order; those of one row are the same name.
    const char* const sorted[][2] = {{"\x80", "\x80 "}, {"\xff", "\xff=\x80"},
                                     {nullptr, "/"},    {"\x01", "\x01>"},
                                     {"[", "[>b"},      {"a\xff", "A\xff"},
                                     {"A", "a\tb"},     {"soap:Body", "SOAP:BODY\n"},
                                     {"z", "Z\r"},      {"{", "{"}};
    const long rows = std::size(sorted);
    for (long a = 0; a < rows; ++a)
        for (long b = 0; b < rows; ++b) {
            xml::list list;
            bool created;
            list.get(sorted[a][0], created);
            const xml::item* item = list.get(sorted[b][1], created);
            EXPECT_EQ(created, a != b) << a << ' ' << b;
            EXPECT_EQ(item - list.items, b > a) << a << ' ' << b;
        }
}

// However many children and attributes come at once, they stand where they are put one by one: the
// last one is asked first, the others by bisection; a further one goes behind the first equal met.
TEST(List, OrderIsThatOfAddingOneByOne) {
    seeded_random random;
    for (int round = 0; round < 500; ++round) {
        const unsigned long count = round < 5 ? 61 + random.below(2000) : random.below(100);
        const unsigned long kinds = std::vector<unsigned long>{1, 2, 3, 10, 1000}[random.below(5)];
        std::vector<string> names, expected; // of the same length
        for (unsigned long i = 0; i < count; ++i)
            names.push_back("n" + std::to_string(1000 + random.below(kinds)));
        std::sort(names.begin(), names.begin() + static_cast<long>(random.below(count + 1)));
        string children, attributes;
        xml::list added;
        for (unsigned long i = 0; i < count; ++i) {
            const string number = std::to_string(i), shown_as = names[i] + "=" + number;
            children += "<" + names[i] + ">" + number + "</" + names[i] + ">";
            attributes += " " + shown_as;
            added.add(parsed("<r " + shown_as + "/>").attributes.items[0]);
            unsigned long low = 0, end = i;
            for (unsigned long at = i - 1; low < end; at = (low + end) / 2) {
                const int order = names[i].compare(0, 5, expected[at], 0, 5);
                low = order >= 0 ? at + 1 : low;
                end = order == 0 ? low : order < 0 ? at : end;
            }
            expected.insert(expected.begin() + static_cast<long>(low), shown_as);
        }
        xml::item item = parsed("<r" + attributes + ">" + children + "</r>");
        item.is_set("");
        for (const xml::list* list : {&item.children, &item.attributes, &added})
            for (unsigned long i = 0; i < count; ++i)
                ASSERT_EQ(shown(list->items[i]), expected[i]) << i << " of " << count;
    }
}

TEST(List, NullAndEmptyValues) {
    bool created;
    xml::item item = parsed("<a v=1><k/></a>");
    item.is_set("k");
    EXPECT_EQ(shown(item), "a{v=1}(k)"); // expanded: null

    xml::list list;
    EXPECT_EQ(shown(*list.get("got/x", created)), "got=");
    EXPECT_STREQ(list.items[0].name, "got"); // no more than the name is copied
    EXPECT_EQ(shown(*list.set("null=", nullptr, created)), "null=");
    EXPECT_EQ(shown(*list.set("null", nullptr, created)), "null");
    list.add(item);
    for (const char* value : {"1", "", "2", static_cast<const char*>(nullptr), "<x/>"}) {
        xml::item* set = list.set("A b", value, created);
        EXPECT_FALSE(created || set->is_set("x")); // beside children nothing is pending
        EXPECT_EQ(shown(*set), value && *value ? string("a{v=1}=") + value + "(k)" : "a{v=1}(k)");
    }

    EXPECT_EQ(shown(xml::root()) + ' ' + shown(xml::root("r x")), "- r=");
    xml::root taken, cleared("r");
    taken = item;
    cleared = xml::item();
    EXPECT_EQ(shown(taken) + ' ' + shown(cleared), "a{v=1}=(k) =");
    item.setText(nullptr);
    EXPECT_EQ(shown(item), "a{v=1}=");
    item.clear();
    EXPECT_EQ(shown(item), "a");
    EXPECT_NE(item.buffer, nullptr);
    item.loadTag(nullptr, nullptr);
    EXPECT_EQ(shown(item), "-");
}

// --- Looking up ------------------------------------------------------------------------------

TEST(Item, PathsChildrenAndSearch) {
    struct {
        const char *text, *section, *key;
        const char* found; // without creating; null for nothing
        const char* then;  // when what is not found has been created
    } const rows[] = {
        {"<r>x</r>", nullptr, "//", "r=x", "r=x"},
        {"<r/>", "//a b/c\td//", nullptr, nullptr, "r(a=(c=))"},
        {"<r><SEC k='no'><kEY>1</kEY></SEC></r>", "sec", "KEY", "kEY=1", "r(SEC{k=no}(kEY=1))"},
        {"<r>x<b/></r>", nullptr, "b", nullptr, "r=x<b/>(b=)"}, // text first: not parsed
        {"<r><b/>dropped<a/>text</r>", "a", nullptr, "a", "r(a,b)"},
        {"<r><b/></s><c/></r>", "c", nullptr, nullptr, "r(b,c=)"},
        {"<?xml?><soap:E><soap:B>1</soap:B></soap:E>", "SOAP:e/soap:b", nullptr, "soap:B=1",
         "?xml?(soap:E(soap:B=1))"},
    };
    for (const auto& row : rows) {
        xml::item item = parsed(row.text);
        xml::item* const found = item.get(row.section, row.key);
        EXPECT_EQ(found ? shown(*found) : "nothing", row.found ? row.found : "nothing") << row.text;
        bool created = found;
        xml::item* const made = item.get(row.section, row.key, created);
        EXPECT_TRUE(created ? !found : found == made) << row.text;
        EXPECT_EQ(shown(item), row.then);
        EXPECT_EQ((*item[row.section])[row.key], made) << row.text;
    }

    xml::item item = parsed("<r><b><x>1</x></b><a><c><x>2</x></c></a><x>3</x></r>");
    EXPECT_TRUE(item.is_set("A/b")); // no path: "a" is asked for
    EXPECT_FALSE(item.is_set("c") || item.is_set(nullptr) || item.remove(nullptr));
    EXPECT_STREQ(item.search("X")->value, "2"); // the first in name order, depth first
    EXPECT_EQ(item.search("R>"), &item);
    EXPECT_EQ(item.search(nullptr), nullptr);
    EXPECT_NE(xml::item().search(nullptr), nullptr);
}

// Calls through null are what is tested, so this function must not be told that they are errors.
__attribute__((no_sanitize("undefined"))) void call_through_null() {
    xml::item* volatile none = nullptr;
    bool created = true;
    str_t out("kept");
    EXPECT_EQ((*none)["a"], nullptr);
    EXPECT_EQ(none->get("a", "b", created), nullptr);
    EXPECT_FALSE(created);
    EXPECT_EQ(none->get("a", "b"), nullptr);
    EXPECT_FALSE(none->is_set("a") || none->remove("a"));
    EXPECT_EQ(none->search("a"), nullptr);
    none->clear();
    none->save(out, 0);
    none->saveF(out, 0);
    EXPECT_STREQ(out.c_str(), "kept");
}

TEST(Item, NullReceivers) { call_through_null(); }

// --- Copies and ownership --------------------------------------------------------------------

// Whichever is looked into first, and however far the source had been when it was copied.
TEST(Root, CopiesStandAlone) {
    const char* const text = "<r v='<w>1</w>'><a u='<x>2</x>'><b><c>3</c></b></a></r>";
    for (const char* looked_for : {"", "x", "a/x", "a/b/x"}) {
        xml::root source = parsed(text), assigned;
        source.get(looked_for, nullptr);
        xml::root copy(source), other(copy), moved(std::move(other));
        assigned = source;
        EXPECT_EQ(shown(other), "-");
        for (xml::root* each : {&copy, &source, &moved, &assigned}) {
            expand_all(*each);
            xml::item &v = each->attributes.items[0], &a = each->children.items[0];
            expand_all(v);
            expand_all(a.attributes.items[0]);
            EXPECT_EQ(shown(v) + shown(a), "v(w=1)a{u(x=2)}(b(c=3))") << looked_for;
        }
    }
    xml::root empty, copy(empty), assigned("x");
    assigned = empty;
    EXPECT_EQ(shown(copy) + shown(assigned), "-=-=");
}

// Every source below is part of what it replaces.
TEST(Item, SourcesWithinThemselves) {
    const auto check = [](const char* then, void (*change)(xml::root&)) {
        xml::root changed = parsed("<r v='1'><a w='2'><b>3</b></a><c>4</c></r>");
        expand_all(changed);
        change(changed);
        EXPECT_EQ(shown(changed), then);
    };
    using xml::root;
    check("r{v=1}(a{w=2}(b=3),c=4)", [](root& r) { r = *&r; });
    check("r{v=1}(b=3,c=4)", [](root& r) { *r["a"] = std::move(*r["a/b"]); });
    check("r{v=1}(a{w=2}(a{w=2}(b=3)),c=4)", [](root& r) { *r["a/b"] = *r["a"]; });
    check("r{v=1}=3", [](root& r) { r.setText(r["a/b"]->value); });
    check("r{v=2}(a{w=2}(b=3),c=4)", [](root& r) {
        bool created;
        for (const xml::item* v = r.attributes.items; *v->value != '2';)
            r.attributes.set(v->name, *v->value == '1' ? "-2" : v->value + 1, created);
    });
    check("k=5", [](root& r) {
        r["a/b"]->setText("<k>5</k>"); // in a buffer that nothing else holds
        r.loadTag(r["a/b"]->buffer, r["a/b"]->value);
    });
}

// Copies that share their text, or their limbs, may belong to different threads.
TEST(Item, CopiesInTwoThreads) {
    xml::item whole = parsed("<r><b>1</b></r>");
    expand_all(whole);
    ubigint number;
    number.set("limbs", 5);
    const auto copy = [](const xml::item& item, const ubigint& limbs) {
        for (int i = 0; i < 20000; ++i) {
            xml::item(item)["b"]->setText("2");
            ubigint(limbs).add(1);
        }
    };
    std::thread other([&copy, item = whole, number] { copy(item, number); });
    copy(whole, number);
    other.join();
    EXPECT_EQ(whole.buffer->refs, 2u);
}

// --- Writing ---------------------------------------------------------------------------------

// The rest is looked at by the fuzz target.
TEST(Writer, LevelsAndWhatHasNoName) {
    const string longer(5000, 'x'), spaces(4096, ' '); // than what is appended at once
    xml::item item = parsed("<a b=\">\" c>" + longer + "</a>"), parent = parsed("<p =v/>");
    item.attributes.add(xml::item()); // no name: not written
    parent.children.add(xml::item());
    str_t compact("front "), deep, flat;
    parent.save(compact, INT_MAX); // the level does not matter
    item.saveF(deep, 4096);
    item.saveF(flat, -3);
    EXPECT_STREQ(compact.c_str(), "front <p =\"v\"></p>");
    EXPECT_EQ(deep.c_str(),
              spaces + "<a b=\">\" c>\n " + spaces + longer + "\n" + spaces + "</a>\n");
    EXPECT_EQ(flat.c_str(), "<a b=\">\" c>\n" + longer + "\n</a>\n");
}

// --- Escaping --------------------------------------------------------------------------------

// What comes of it is read back by the fuzz target.
TEST(Escape, MarkupAndWhiteSpaceAtTheEnds) {
    EXPECT_STREQ(xml::escape(" \"a\r\n&\t'<b>\n").c_str(),
                 "&#32;&quot;a&#13;\n&amp;\t&apos;&lt;b&gt;&#10;");
}

// What others may have written.
TEST(Escape, References) {
    struct {
        const char *text, *unescaped; // null: as it is
    } const rows[] = {
        {nullptr, ""},
        {"&amp;lt; &lt;&gt;&quot;&apos;&amp;#65;", "&lt; <>\"'&#65;"},
        {"&#65;&#x42;&#0067;&#x0044;&#x7F;&#1;", "ABCD\x7f\x01"},
        {"&#x80;&#x7ff;&#2048;&#xfFfF;", "\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
        {"&#xD7FF;&#xE000;", "\xed\x9f\xbf\xee\x80\x80"},
        {"&#x10000;&#x10FFFF;", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {"&&#&am&amp;;", "&&#&am&;"},
        {"& &; &amp &AMP; &nbsp; &# &#; &#x; &#X41; &#65 &#6a; &#xg; &#-1; &# 1; &#x", nullptr},
        {"&#0; &#x0; &#xd800; &#xDFFF; &#x110000; &#1114112; \xff\x80", nullptr},
        {"&#4294967361; &#18446744073709551681; &#x10000000000000041;", nullptr},
    };
    for (const auto& row : rows)
        EXPECT_STREQ(xml::unescape(row.text).c_str(), row.unescaped ? row.unescaped : row.text);
}

// --- Size ------------------------------------------------------------------------------------

// Deeper than calls could be, more of one kind than could be inserted one by one, and each in the
// time of a few scans, not of one for every element. The time is that of the processor: other
// programs do not count.
TEST(Size, DoesNotExplode) {
    const auto repeated = [](const string& text, unsigned long count) {
        string all;
        for (unsigned long i = 0; i < count; ++i)
            all += text;
        return all;
    };
    constexpr unsigned long deep = 20000, many = 100000;
    const std::clock_t start = std::clock();
    // Also where tags are read differently from how they are stepped over.
    for (const char* tag : {"<a>", "<a '><b \"'\"/>\">"}) {
        const string text = repeated(tag, deep);
        xml::item open = parsed(text + "<b>"), closed = parsed(text + repeated("</a>", deep));
        EXPECT_EQ(closed.search("c"), nullptr) << tag;
        EXPECT_NE(open.search("b"), nullptr) << tag;
        str_t out;
        closed.save(out, 0);
    }

    // A start tag of the own name in quotes: a quick search finds one end tag too few and, if
    // nothing stops it, looks for it in all that follows.
    const string text = repeated("<a>" + string(100, '.') + "<b t=\"<a>\"/></a>", 30000);
    EXPECT_EQ(parsed("<r>" + text).search("c"), nullptr);
    xml::buffer* const buffer = xml::buffer::create(text.data(), text.size());
    xml::item item;
    for (char* at = buffer->text(); *at != 0;)
        at = item.loadTag(buffer, at);
    buffer->release();

    string children, attributes;
    for (unsigned long i = 0; i < many; ++i) {
        const string name = "n" + std::to_string(many + i * 7919 % many);
        children += "<" + name + "/>";
        attributes += " " + name;
    }
    item = parsed("<r" + attributes + ">" + children + "</r>");
    EXPECT_TRUE(item.is_set(("n" + std::to_string(many)).c_str()));
    EXPECT_LT(std::clock() - start, 10 * CLOCKS_PER_SEC);
}

} // namespace
