// Documents: reading, looking up, ordering, writing, and who owns which text.
//
// An item is shown as name{attributes}=value(children), without the "=" where the value is null and
// with "-" for a null name.
#include "support/guarded_page.hpp"
#include "support/xml_reference.hpp"

#include <orv/xml/root.hpp>

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>
#include <thread>

namespace {

using std::string;

string joined(const string& lines, const string& line) {
    return lines.empty() ? line : lines + "," + line;
}

string shown(const char* name, const char* value, const string& attributes,
             const string& children) {
    string line = name ? reference::name_at(name) : "-";
    if (!attributes.empty())
        line += "{" + attributes + "}";
    if (value)
        line += string("=") + value;
    return children.empty() ? line : line + "(" + children + ")";
}

string shown(const xml::list& items);
string shown(const xml::item& item) {
    return shown(item.name, item.value, shown(item.attributes), shown(item.children));
}
string shown(const xml::list& items) {
    string lines;
    for (unsigned long i = 0; i < items.count; ++i)
        lines = joined(lines, shown(items.items[i]));
    return lines;
}

using places = std::vector<reference::reader::place>;
string shown(const reference::reader& by, const places& all) {
    string lines;
    for (const auto& each : all)
        lines = joined(lines, shown(by.at(each.name), by.at(each.value), shown(by, each.attributes),
                                    shown(by, each.children)));
    return lines;
}

// A buffer whose second NUL is the last byte that can be read. Blanks in front of the text, which
// reading ignores, align the header. Valid until the next one is placed.
class guarded_text {
public:
    char* place(const string& text) {
        const unsigned long unaligned = (sizeof(xml::buffer) + text.size() + 2) % 8;
        const unsigned long blanks = (8 - unaligned) % 8;
        const string all = string(sizeof(xml::buffer) + blanks, ' ') + text + string(2, '\0');
        buffer_ = new (page_.bytes(all.data(), all.size())) xml::buffer;
        buffer_->refs = 1;
        start_ = buffer_->text() + blanks;
        return start_;
    }
    xml::buffer* buffer() const { return buffer_; }
    // How far behind the start of the text; -1 for null.
    long offset(const char* position) const { return position ? position - start_ : -1; }

private:
    guarded_page page_;
    xml::buffer* buffer_ = nullptr;
    char* start_ = nullptr;
};

// Has every element parsed: no text below has that name.
void expand_all(xml::item& item) { EXPECT_EQ(item.search("\x01none"), nullptr); }

xml::item parsed(const string& text) {
    xml::item item;
    xml::buffer* buffer = xml::buffer::create(text.data(), text.size());
    item.loadTag(buffer, buffer->text());
    buffer->release();
    return item;
}

xml::root root_of(const xml::item& item) {
    xml::root root;
    root = item;
    return root;
}

string saved(const xml::item& item) {
    str_t out;
    item.save(out, 0);
    return string(out.c_str(), out.length());
}

string saved_in_lines(const xml::item& item, int level = 0) {
    str_t out;
    item.saveF(out, level);
    return string(out.c_str(), out.length());
}

// Numbers that differ from run to run; a failure is repeated with ORV_TEST_SEED.
std::mt19937 random_numbers() {
    const char* given = std::getenv("ORV_TEST_SEED");
    const unsigned seed = given ? static_cast<unsigned>(std::atol(given)) : std::random_device{}();
    std::cout << "ORV_TEST_SEED=" << seed << std::endl;
    return std::mt19937(seed);
}

// --- Reading ---------------------------------------------------------------------------------

// "|" in the text marks where reading stops, "||" behind the first NUL; without one it is null.
TEST(Parser, ReadsOneElement) {
    struct {
        const char *text, *shown;
    } const rows[] = {
        // elements and where they end
        {"  <a>x</a>|  <b/>", "a=x"},
        {"text <a>x</a>|y", "a=x"},
        {"<A>1</a>|", "A=1"},
        {"<a></a>|", "a="},
        {"<a/>|", "a"},
        {"<a>  \t\r\n </a>|", "a="},
        {"<soap:Body>x</Body></SOAP:BODY>|", "soap:Body=x</Body>"},
        {"<a>x</a \t junk='>|' >", "a=x"},
        // no element
        {"</a>", "-"},
        {"text </a><b/>", "-"},
        {"|", "-"},
        {"<|", "-"},
        // texts that end early
        {"<a|", "a"},
        {"<a/|", "a"},
        {"<a b|", "a{b}"},
        {"<a b=|", "a{b=}"},
        {"<a b='1|", "a{b=1}"},
        {"<a>|", "a="},
        {"<a>text||", "a=text"},
        {"<a>text<||", "a=text<"},
        {"<a>text</a||", "a=text"},
        {"<a>text</b||", "a=text</b"},
        {"<a><b/||", "a=<b/"},
        {"<a><b c='></a>||", "a=<b c='></a>"},
        // nesting is counted in tags of the same name only
        {"<a><a>1</a></a>|</a>", "a=<a>1</a>"},
        {"<a><A>1</a></A>|", "a=<A>1</a>"},
        {"<a><a/></a>|", "a=<a/>"},
        {"<a><a b='/'/></a>|", "a=<a b='/'/>"},
        {"<a><a/ ></a></a>|", "a=<a/ ></a>"},
        {"<a><ab></a>|", "a=<ab>"},
        {"<a></b></c>x<d></a>|", "a=</b></c>x<d>"},
        // quotes in tags that are skipped: two kinds
        {"<a><b t='</a>'/>x</a>|", "a=<b t='</a>'/>x"},
        {"<a><b t=\"</a>'\"/>x</a>|", "a=<b t=\"</a>'\"/>x"},
        {"<a><b t=`>x</a>|`", "a=<b t=`>x"},
        {"<a>'</a>|'</a>", "a='"},
        // trimming: of all white space in front, of all but CR behind
        {"<a> \t\nx \r\n</a>|", "a=x \r"},
        {"<a>x y\n\t </a>|", "a=x y"},
        // attributes
        {"<a x='1' y=\"2\" w=4 v z=`3`>t</a>|", "a{v,w=4,x=1,y=2,z=3}=t"},
        {"<a\tx\n=\r'1'/>|", "a{=1,x}"},
        {"<a x= '1' y=\n2/>|", "a{x=1,y=2}"},
        {"<a x='' y= />|", "a{x=,y=}"},
        {"<a x='\"`>/' y=\"'\"/>|", "a{x=\"`>/,y='}"},
        {"<a x=1 X=2 x=3/>|", "a{x=1,X=2,x=3}"},
        {"<a n:x=&amp; \x01 \xc3=1/>|", "a{\xc3=1,\x01,n:x=&amp;}"},
        {"<a x=1=2/>|", "a{=2,x=1}"},
        {"<a =1 ==/>|", "a{=1,=,=}"},
        {"<a x=<b>t</a>|", "a{x=<b}=t"},
        // a "/" that does not end the tag is stepped over
        {"<a / x/y //>|t</a>", "a{x,y}"},
        {"<a/b>t</a>|", "a{b}=t"},
        {"<a x=1/2>t</a>|", "a{2,x=1}=t"},
        // what is no XML to others
        {"<?xml version='1.0'?><r>x</r>||", "?xml{?,version=1.0}=<r>x</r>"},
        {"<!-- c --><r/>||", "!--{--,c}=<r/>"},
        {"<![CDATA[x]]>y||", "![CDATA[x]]=y"},
        {"<>x</>|", "=x"},
        {"< a>x</>|", "{a}=x"},
        {"<a>&lt;&#x41;</a>|", "a=&lt;&#x41;"},
        {"<<a>x</<a>|", "<a=x"},
    };
    guarded_text guarded;
    for (const auto& row : rows) {
        string text = row.text;
        const long mark = static_cast<long>(text.find('|'));
        const bool behind = text.find("||") != string::npos;
        while (text.find('|') != string::npos)
            text.erase(text.find('|'), 1);
        char* const at = guarded.place(text);
        {
            xml::item item;
            const long stopped = guarded.offset(item.loadTag(guarded.buffer(), at));
            EXPECT_EQ(shown(item), row.shown) << row.text;
            EXPECT_EQ(stopped, mark + behind) << row.text;
            EXPECT_EQ(item.buffer, guarded.buffer());
            expand_all(item);
        }
        EXPECT_EQ(guarded.buffer()->refs, 1u) << row.text;
    }
}

// Reads, expands, copies, writes and reads again: no byte too far, no reference too many or few,
// and what the reference says.
class reading {
public:
    void check(const string& text) {
        char* const at = guarded_.place(text);
        {
            xml::item item;
            const long stopped = guarded_.offset(item.loadTag(guarded_.buffer(), at));
            reference::reader by(text);
            places expected(1);
            ASSERT_EQ(stopped, by.load(expected[0], 0)) << text;
            xml::item copy(item); // shares what is still to be parsed
            expand_all(item);
            by.expand(expected[0]);
            ASSERT_EQ(shown(item), shown(by, expected)) << text;
            xml::item again = parsed(saved(item));
            expand_all(again);
            again = parsed(saved_in_lines(item));
            expand_all(again);
            expand_all(copy);
        }
        ASSERT_EQ(guarded_.buffer()->refs, 1u) << text;
    }

private:
    guarded_text guarded_;
};

TEST(Parser, EveryShortText) {
    const string alphabet = "<>/=\" a";
    constexpr unsigned long texts = 19608; // of up to 5 letters
    reading reading;
    for (const char* start : {"<", "<a>", "<a><"})
        for (unsigned long number = 0; number < texts && !HasFatalFailure(); ++number) {
            string text = start;
            for (unsigned long rest = number; rest > 0; rest = (rest - 1) / alphabet.size())
                text += alphabet[(rest - 1) % alphabet.size()];
            reading.check(text);
        }
}

TEST(Parser, RandomTexts) {
    std::mt19937 random = random_numbers();
    const char* const pieces[] = {"<a>", "</a>", "<b>", "</b>", "<a ",  "<b c=", "/>",  "<",  ">",
                                  "/",   "=",    "'",   "\"",   "`",    " ",     "\n",  "\r", "x",
                                  "A",   "<d/>", "</",  "<!--", "\xc3", "<a/>",  "x=1 "};
    reading reading;
    for (int i = 0; i < 6000 && !HasFatalFailure(); ++i) {
        string text;
        for (unsigned long left = random() % 60; left > 0; --left)
            text += pieces[random() % std::size(pieces)];
        reading.check(text);
    }
}

// --- Order -----------------------------------------------------------------------------------

TEST(List, NamesSortAsSignedBytesWithoutRegardToCase) {
    const std::vector<std::vector<const char*>> sorted = {{"\x80", "\x80 "},
                                                          {"\xc3\x84"},
                                                          {"\xc3\xa4"},
                                                          {"\xff", "\xff=\x80"},
                                                          {"", nullptr, "/"},
                                                          {"\x01"},
                                                          {"-"},
                                                          {"[", "[>b"},
                                                          {"a\xff"},
                                                          {"A", "a", "a\tb"},
                                                          {"aB", "Ab"},
                                                          {"soap:Body", "SOAP:BODY\n"},
                                                          {"z", "Z\r"},
                                                          {"{"},
                                                          {"~ORV"}};
    for (unsigned long a = 0; a < sorted.size(); ++a)
        for (unsigned long b = 0; b < sorted.size(); ++b)
            for (const char* first : sorted[a])
                for (const char* second : sorted[b]) {
                    xml::list list;
                    bool created;
                    list.get(first, created);
                    const xml::item* item = list.get(second, created);
                    EXPECT_EQ(created, a != b) << a << ' ' << b;
                    EXPECT_EQ(item - list.items, b > a) << a << ' ' << b;
                }
}

// However children and attributes come about, they stand where one `add` after the other puts them.
TEST(List, OrderIsThatOfAddingOneByOne) {
    std::mt19937 random = random_numbers();
    std::vector<unsigned long> counts = {63, 64, 65, 66, 127, 128, 129, 1500};
    for (int i = 0; i < 300; ++i)
        counts.push_back(random() % 80);
    for (unsigned long count : counts) {
        const unsigned long different = std::vector<unsigned long>{1, 2, 3, 10, 1000}[random() % 5];
        std::vector<string> names;
        for (unsigned long i = 0; i < count; ++i)
            names.push_back("nN"[random() % 2] + std::to_string(1000 + random() % different));
        std::sort(names.begin(), names.begin() + static_cast<long>(random() % (count + 1)));

        std::vector<std::pair<string, string>> numbered; // so that equal names can be told apart
        string children, attributes;
        xml::list list;
        for (unsigned long i = 0; i < count; ++i) {
            const auto& [name, number] = numbered.emplace_back(names[i], std::to_string(i));
            children += "<" + name + ">" + number + "</" + name + ">";
            attributes += " " + name + "=" + number;
            const xml::item one = parsed("<" + name + ">" + number + "</" + name + ">");
            const unsigned long at = list.add(one);
            EXPECT_EQ(list.items[at].value, one.value);
        }
        string expected;
        for (const auto& [name, number] :
             reference::added_one_by_one(numbered, [](const auto& each) { return each.first; }))
            expected = joined(expected, name + "=" + number);

        xml::item item = parsed("<r" + attributes + ">" + children + "</r>");
        item.is_set("");
        ASSERT_EQ(shown(item.children), expected) << count << ' ' << different;
        ASSERT_EQ(shown(item.attributes), expected) << count << ' ' << different;
        ASSERT_EQ(shown(list), expected) << count << ' ' << different;
        for (const string& name : names)
            ASSERT_TRUE(item.is_set(name.c_str())) << name;
    }
}

TEST(List, NullAndEmptyValues) {
    bool created;
    xml::item item = parsed("<a v=1><k/></a>");
    item.get(nullptr, "k", created);
    EXPECT_EQ(shown(item), "a{v=1}(k)"); // expanded: null

    xml::list list;
    EXPECT_EQ(shown(*list.get("got/x", created)), "got=");
    EXPECT_STREQ(list.items[0].name, "got"); // no more than the name is copied
    EXPECT_EQ(shown(*list.set("null=", nullptr, created)), "null=");
    EXPECT_EQ(shown(*list.set("empty", "", created)), "empty=");
    EXPECT_TRUE(created);
    list.add(item);
    for (const char* value : {"1", "", "2", static_cast<const char*>(nullptr), "<x/>"}) {
        xml::item* set = list.set("A b", value, created);
        EXPECT_FALSE(created);
        EXPECT_FALSE(set->is_set("x")); // beside children nothing is pending
        EXPECT_EQ(shown(*set), value && *value ? string("a{v=1}=") + value + "(k)" : "a{v=1}(k)");
    }
    EXPECT_EQ(list.count, 4u);
    EXPECT_FALSE(list.set("null", nullptr, created)->value);

    xml::root root;
    EXPECT_EQ(shown(root), "-");
    EXPECT_EQ(shown(xml::root("r x")), "r=");
    root = item;
    EXPECT_EQ(shown(root), "a{v=1}=(k)");
    root = xml::item();
    EXPECT_EQ(shown(root), "=");
    for (const char* text : {"x", static_cast<const char*>(nullptr), ""}) {
        item.setText(text);
        EXPECT_EQ(shown(item), string("a{v=1}=") + (text ? text : ""));
    }
    item.clear();
    EXPECT_EQ(shown(item), "a");
    EXPECT_NE(item.buffer, nullptr);
}

// --- Looking up ------------------------------------------------------------------------------

TEST(Item, Paths) {
    struct {
        const char *text, *section, *key;
        const char* found; // without creating; null for nothing
        bool created;      // by the creating lookup, the last element
        const char* saved; // then
    } const rows[] = {
        {"<r/>", nullptr, nullptr, "r", false, "<r/>"},
        {"<r>x</r>", "", "//", "r=x", false, "<r>x</r>"},
        {"<r/>", "Sec", "Key", nullptr, true, "<r><Sec><Key/></Sec></r>"},
        {"<r/>", "//a//b/", nullptr, nullptr, true, "<r><a><b/></a></r>"},
        {"<r/>", nullptr, "a b/c\td/", nullptr, true, "<r><a><c/></a></r>"},
        {"<r/>", "=x", nullptr, nullptr, true, "<r></></r>"},
        {"<r><SEC k='no'><kEY>1</kEY></SEC></r>", "sec", "KEY", "kEY=1", false,
         "<r><SEC k=\"no\"><kEY>1</kEY></SEC></r>"},
        {"<r><s>1</s></r>", "s", "", "s=1", false, "<r><s>1</s></r>"},
        {"<r><s>1</s></r>", "s/", "k", nullptr, true, "<r><s><k/></s></r>"},
        {"<r><s>1</s></r>", "t", "/", nullptr, true, "<r><s>1</s><t/></r>"},
        {"<r>x<b/></r>", nullptr, "b", nullptr, true, "<r><b/></r>"}, // text first: not parsed
        {"<r><b/>dropped<a/>text</r>", "a", nullptr, "a", false, "<r><a/><b/></r>"},
        {"<r></s><b/></r>", "b", nullptr, nullptr, true, "<r><b/></r>"},
        {"<r><b/></s><c/></r>", "c", nullptr, nullptr, true, "<r><b/><c/></r>"},
        {"<?xml?><soap:E><soap:B>1</soap:B></soap:E>", "SOAP:e/soap:b", nullptr, "soap:B=1", false,
         "<?xml?><soap:E><soap:B>1</soap:B></soap:E></?xml?>"},
    };
    for (const auto& row : rows) {
        bool created = !row.created;
        xml::item item = parsed(row.text);
        xml::item* found = item.get(row.section, row.key);
        EXPECT_EQ(found ? shown(*found) : "nothing", row.found ? row.found : "nothing") << row.text;
        xml::item* made = item.get(row.section, row.key, created);
        EXPECT_TRUE(!found || found == made);
        EXPECT_EQ(created, row.created) << row.text;
        EXPECT_EQ(saved(item), row.saved);
        EXPECT_EQ(item.get(row.section, row.key, created), made);
        EXPECT_FALSE(created);
        xml::item* const section = item[row.section];
        EXPECT_EQ((*section)[row.key], made) << row.text;
    }
}

TEST(Item, DirectChildrenAndSearch) {
    xml::item item = parsed("<r><b><x>1</x></b><a><c><x>2</x></c></a><x>3</x></r>");
    EXPECT_TRUE(item.is_set("A/b"));
    EXPECT_FALSE(item.is_set("c"));
    EXPECT_FALSE(item.is_set(nullptr));
    EXPECT_STREQ(item.search("X")->value, "2"); // the first in name order, depth first
    EXPECT_EQ(item.search("R>"), &item);
    EXPECT_EQ(item.search("y"), nullptr);
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
    EXPECT_EQ(none->get(nullptr, nullptr), nullptr);
    EXPECT_FALSE(none->is_set("a"));
    EXPECT_EQ(none->search("a"), nullptr);
    EXPECT_EQ(none->loadTag(nullptr, nullptr), nullptr);
    none->clear();
    none->setText("x");
    none->save(out, 0);
    none->saveF(out, 0);
    EXPECT_STREQ(out.c_str(), "kept");
}

TEST(Item, NullReceivers) { call_through_null(); }

// The parser looks one byte behind the first NUL, so every maker of a buffer adds a second.
TEST(Buffer, EndsWithTwoNuls) {
    bool created;
    xml::list list;
    xml::root root("r"), copy(root);
    copy.setText("text");
    xml::buffer* const buffer = xml::buffer::create("ab", 2);
    EXPECT_EQ(string(buffer->text(), 4), string("ab\0\0", 4));
    buffer->release();
    for (const char* value : {list.get("a", created)->value, list.set("b", "text", created)->value,
                              list.set("c", "<c>", created)->value, root.value, copy.value})
        EXPECT_EQ(value[std::strlen(value) + 1], '\0') << value;
}

// --- Copies and ownership --------------------------------------------------------------------

TEST(Item, CopiesAreDeepAndShareText) {
    xml::item item = parsed("<r v=1><a><b>1</b></a><c>2</c></r>");
    expand_all(item);
    xml::buffer* const buffer = item.buffer;
    EXPECT_EQ(buffer->refs, 5u); // r, v, a, b, c
    {
        xml::item copy(item), assigned;
        assigned = copy;
        const xml::root root = root_of(item); // its name and value are its own
        EXPECT_EQ(buffer->refs, 19u);
        EXPECT_EQ(copy.get("a", "b")->value, item.get("a", "b")->value);
        copy["a"]->setText("x");
        bool created;
        assigned.children.set("c", "y", created);
        assigned["new"];
        EXPECT_EQ(saved(item), "<r v=\"1\"><a><b>1</b></a><c>2</c></r>");
        EXPECT_EQ(saved(root), saved(item));
        EXPECT_EQ(saved(copy), "<r v=\"1\"><a>x</a><c>2</c></r>");
        EXPECT_EQ(saved(assigned), "<r v=\"1\"><a><b>1</b></a><c>y</c><new/></r>");
        const xml::item moved(std::move(copy));
        copy = std::move(assigned);
        EXPECT_EQ(shown(assigned), "-");
    }
    EXPECT_EQ(buffer->refs, 5u);
    item.loadTag(nullptr, nullptr);
    EXPECT_EQ(shown(item), "-");
}

// Every source below is part of what it replaces.
TEST(Item, SourcesWithinThemselves) {
    using xml::root;
    const char* const same = "r{v=1}(a{w=2}(b=3),c=4)";
    const struct {
        const char* what;
        std::function<void(root&)> change;
        const char* then;
    } rows[] = {
        {"root", [](root& r) { r = *&r; }, same},
        {"root as an item", [](root& r) { r = static_cast<xml::item&>(r); }, same},
        {"item", [](root& r) { *r["a"] = *r["a"]; }, same},
        {"moved item", [](root& r) { *r["a"] = std::move(*r["a"]); }, same},
        {"list", [](root& r) { r.children = *&r.children; }, same},
        {"moved list", [](root& r) { r.children = std::move(*&r.children); }, same},
        {"text", [](root& r) { r["c"]->setText(r["c"]->value); }, same},
        {"root from below", [](root& r) { r = *r["a"]; }, "a{w=2}=(b=3)"},
        {"item from below", [](root& r) { *r["a"] = *r["a/b"]; }, "r{v=1}(b=3,c=4)"},
        {"moved", [](root& r) { *r["a"] = std::move(*r["a/b"]); }, "r{v=1}(b=3,c=4)"},
        {"item from above", [](root& r) { *r["a/b"] = *r["a"]; },
         "r{v=1}(a{w=2}(a{w=2}(b=3)),c=4)"},
        {"list from below", [](root& r) { r.children = r["a"]->children; }, "r{v=1}(b=3)"},
        {"moved", [](root& r) { r.children = std::move(r["a"]->children); }, "r{v=1}(b=3)"},
        {"attributes", [](root& r) { r.attributes = r["a"]->attributes; },
         "r{w=2}(a{w=2}(b=3),c=4)"},
        {"added item", [](root& r) { r.children.add(*r["a"]); },
         "r{v=1}(a{w=2}(b=3),a{w=2}(b=3),c=4)"},
        {"added from above", [](root& r) { r["a"]->children.add(*r["a"]); },
         "r{v=1}(a{w=2}(a{w=2}(b=3),b=3),c=4)"},
        {"text that is the name", [](root& r) { r["c"]->setText(r["c"]->name); },
         "r{v=1}(a{w=2}(b=3),c=c)"},
        {"text from below", [](root& r) { r.setText(r["a/b"]->value); }, "r{v=1}=3"},
        {"set name and value",
         [](root& r) {
             bool created;
             for (const xml::item* v = r.attributes.items; *v->value != '2';)
                 r.attributes.set(v->name, *v->value == '1' ? "-2" : v->value + 1, created);
         },
         "r{v=2}(a{w=2}(b=3),c=4)"},
        {"element read from below",
         [](root& r) {
             r["a/b"]->setText("<k>5</k>"); // in a buffer that nothing else holds
             r.loadTag(r["a/b"]->buffer, r["a/b"]->value);
         },
         "k=5"},
    };
    for (const auto& row : rows) {
        root changed = root_of(parsed("<r v='1'><a w='2'><b>3</b></a><c>4</c></r>"));
        expand_all(changed);
        row.change(changed);
        EXPECT_EQ(shown(changed), row.then) << row.what;
    }
}

// Copies may share buffers across threads if what is still to be parsed is not shared: because all
// is parsed, or because the text is a root's own.
TEST(Item, CopiesInOtherThreads) {
    const char* const text = "<r><a v='1'>x</a><b><c>1</c></b><a>2</a></r>";
    const xml::item pending = parsed(text);
    xml::item whole = parsed(text);
    expand_all(whole);
    const auto work = [](xml::root* own, const xml::item* shared, string* result) {
        own->search("c");
        for (int i = 0; i < 200; ++i) {
            xml::root copy = root_of(*shared);
            copy["b/c"]->setText("2");
            copy.children.add(*own);
            *result = saved(copy);
        }
    };
    xml::root own[2] = {root_of(pending), root_of(pending)};
    const xml::item shared[2] = {whole, whole};
    string results[2];
    std::thread first(work, own, shared, results);
    std::thread second(work, own + 1, shared + 1, results + 1);
    whole.clear();
    first.join();
    second.join();
    EXPECT_EQ(results[0], "<r><a v=\"1\">x</a><a>2</a><b><c>2</c></b>"
                          "<r><a v=\"1\">x</a><a>2</a><b><c>1</c></b></r></r>");
    EXPECT_EQ(results[0], results[1]);
}

// --- Writing ---------------------------------------------------------------------------------

TEST(Writer, ExactTexts) {
    const char* const none = nullptr;
    struct {
        const char *text, *expanded, *compact, *lines; // `expanded`: looked up first
    } const rows[] = {
        {"<cfg v=2><a>x</a><b/></cfg>", "a", "<cfg v=\"2\"><a>x</a><b/></cfg>",
         "<cfg v=\"2\">\n <a>\n  x\n </a>\n <b/>\n</cfg>\n"},
        {"<cfg><k>1</k></cfg>", none, "<cfg><k>1</k></cfg>", "<cfg>\n <k>1</k>\n</cfg>\n"},
        {"<n></n>", none, "<n/>", "<n/>\n"},
        {"<n><c></n>", "c", "<n><c/></n>", "<n>\n <c/>\n</n>\n"},
        {"<n>a\n b</n>", none, "<n>a\n b</n>", "<n>\n a\n b\n</n>\n"},
        {"<n>a&lt;b<n>", none, "<n>a&lt;b<n></n>", "<n>\n a&lt;b<n>\n</n>\n"},
        {"<n b='' a c='\"' =1/>", none, "<n =\"1\" a b c=\"\"\"/>", "<n =\"1\" a b c=\"\"\"/>\n"},
        {"<N:m/x>t</n:M>", none, "<N:m x>t</N:m>", "<N:m x>\n t\n</N:m>\n"},
        {"<>x</>", none, "<>x</>", ""},
        {"< a=1/>", none, "< a=\"1\"/>", ""},
        {"<r><><b/></><c/></r>", "c", "<r><><b/></><c/></r>", "<r>\n <c/>\n</r>\n"},
        {"<r><><b/></></r>", "/ ", "<r><><b/></></r>", "<r>\n</r>\n"},
        {"", none, "", ""},
    };
    for (const auto& row : rows) {
        xml::item item = parsed(row.text);
        item.get(nullptr, row.expanded);
        EXPECT_EQ(saved(item), row.compact) << row.text;
        EXPECT_EQ(saved_in_lines(item), row.lines) << row.text;
    }

    xml::item item = parsed("<a><b>x</b></a>");
    item["b"]->attributes.add(xml::item()); // no name: not written
    item["b/c"]->children.add(xml::item());
    EXPECT_EQ(saved(item), "<a><b><c></c></b></a>");
    EXPECT_EQ(saved_in_lines(item), "<a>\n <b>\n  <c>\n  </c>\n </b>\n</a>\n");
    EXPECT_EQ(saved_in_lines(*item["b/d"], 70), string(70, ' ') + "<d/>\n");
    EXPECT_EQ(saved_in_lines(*item["b/d"], -3), "<d/>\n");
    str_t out("front ");
    item["b/d"]->save(out, INT_MAX); // the level does not matter
    item.save(out, INT_MAX);
    EXPECT_STREQ(out.c_str(), "front <d/><a><b><c></c><d/></b></a>");
}

TEST(Writer, WhatIsReadBackIsTheSame) {
    std::mt19937 random = random_numbers();
    const auto name = [&] {
        return string(1, "abAB?"[random() % 5]) + std::to_string(random() % 4);
    };
    for (int i = 0; i < 200; ++i) {
        xml::root root(name().c_str());
        std::vector<xml::item*> path = {&root};
        for (int k = 0; k < 60; ++k) { // pointers into the list that grows are not kept
            bool created;
            xml::item& at = *path[random() % path.size()];
            path.erase(std::find(path.begin(), path.end(), &at) + 1, path.end());
            switch (random() % 4) {
            case 0:
                at.attributes.set(name().c_str(), &"va/lu>e=' "[random() % 4], created);
                break;
            case 1:
                at.children.add(xml::root(name().c_str()));
                break;
            case 2:
                path.push_back(at[name().c_str()]);
                break;
            default:
                path.push_back(at[name().c_str()]);
                path.back()->setText(&"t/e>x=t\"'\r"[random() % 4]);
            }
        }
        xml::item compact = parsed(saved(root));
        xml::item lines = parsed(saved_in_lines(root));
        expand_all(compact);
        expand_all(lines);
        ASSERT_EQ(saved(compact), saved(root));
        ASSERT_EQ(saved(lines), saved(root));
        ASSERT_EQ(saved_in_lines(compact), saved_in_lines(root));
    }
}

// --- Size ------------------------------------------------------------------------------------

// Runs on a stack too small for a call per level of the tree of `DeepText`.
void on_a_small_stack(std::function<void()> work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 128 * 1024);
    const auto run = [](void* given) -> void* {
        (*static_cast<std::function<void()>*>(given))();
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(Size, DeepText) {
    string text, end_tags;
    for (unsigned long i = 0; i < 4000; ++i) {
        text += "<a>";
        end_tags += "</a>";
    }
    on_a_small_stack([&] {
        xml::item open = parsed(text + "<b>");
        EXPECT_NE(open.search("b"), nullptr);
        EXPECT_FALSE(saved_in_lines(open).empty());
        xml::item closed = parsed(text + "x" + end_tags);
        EXPECT_EQ(closed.search("b"), nullptr);
        EXPECT_TRUE(saved(closed) == text + "x" + end_tags);
    });
}

TEST(Size, DeepPath) {
    constexpr unsigned long deep = 1000000;
    string path;
    for (unsigned long i = 0; i < deep; ++i)
        path += "a/";
    xml::root root;
    xml::item* const last = root[path.c_str()];
    EXPECT_EQ(root.get(path.c_str(), nullptr), last);
    EXPECT_EQ(root.search("b"), nullptr);
    EXPECT_EQ(saved(root_of(root)).size(), 7 * deep + 2); // "<></>" outside, "<a/>" inside
}

// One insertion after the other would move some 10^12 bytes.
TEST(Size, ManyChildrenAndAttributes) {
    constexpr unsigned long many = 200000;
    std::vector<string> names;
    for (unsigned long i = 0; i < many; ++i)
        names.push_back("n" + std::to_string(i * 7919 % many));
    string children, attributes;
    for (const string& name : names) {
        children += "<" + name + "/>";
        attributes += " " + name;
    }
    const auto start = std::chrono::steady_clock::now();
    xml::item item = parsed("<r" + attributes + ">" + children + "</r>");
    EXPECT_TRUE(item.is_set("n0"));
    xml::item copy(item);
    copy.clear();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(item.children.count, many);
    EXPECT_EQ(item.attributes.count, many);
    std::sort(names.begin(), names.end());
    for (unsigned long i = 0; i < many; ++i) {
        ASSERT_EQ(reference::name_at(item.children.items[i].name), names[i]);
        ASSERT_EQ(reference::name_at(item.attributes.items[i].name), names[i]);
    }
}

} // namespace
