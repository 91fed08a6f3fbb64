// Documents, and what is done with them. The input is one byte that chooses an operation, then a
// path and a text, each up to a NUL; and so on. What has a short way and a long one must come to
// the same on both.
#include "support.hpp"

#include <orv/xml/escape.hpp>
#include <orv/xml/root.hpp>

#include <functional>

namespace {

using fuzz::require;
using std::string;

string name_of(const xml::item& item) {
    return string(item.name ? item.name : "", item.nameLength());
}

// Everything in it. `loosely`: an empty name or value is like none.
string shown(const xml::item& item, bool loosely = false) {
    string all = item.name || loosely ? "<" + name_of(item) : "-";
    for (const xml::list* list : {&item.attributes, &item.children}) {
        for (unsigned long i = 0; i < list->count; ++i)
            all += shown(list->items[i], loosely);
        all += ';';
    }
    return item.value && (!loosely || *item.value) ? all + '=' + item.value + '>' : all + '>';
}

// Level by level, each with a look of its own at the text.
void expand_each(xml::item& element) {
    element.is_set("");
    for (unsigned long i = 0; i < element.children.count; ++i)
        expand_each(element.children.items[i]);
}

// As it is written: a line for each tag and text, or, if that has no `end`, all on one.
string written(const xml::item& item, const string& spaces, const string& end) {
    const string name = name_of(item), deeper = end.empty() ? "" : spaces + ' ';
    if (!item.name || (name.empty() && !end.empty()))
        return "";
    const bool has_text = item.value && *item.value && item.children.count == 0;
    string tag = spaces + '<' + name, content = has_text ? deeper + item.value + end : "";
    for (unsigned long i = 0; i < item.attributes.count; ++i) {
        const xml::item& attribute = item.attributes.items[i];
        const bool has_value = attribute.value && *attribute.value;
        tag += ' ' + name_of(attribute) + (has_value ? string("=\"") + attribute.value + '"' : "");
    }
    for (unsigned long i = 0; i < item.children.count; ++i)
        content += written(item.children.items[i], deeper, end);
    if (!has_text && item.children.count == 0)
        return tag + "/>" + end;
    return tag + '>' + end + content + spaces + "</" + name + '>' + end;
}

void read(const string& path, const string& text) {
    xml::root by_levels, at_once, by_path;
    for (xml::root* each : {&by_levels, &at_once, &by_path})
        each->load(text.data(), text.size());
    expand_each(by_levels);
    const string all = shown(by_levels);
    const bool has_it = at_once.search("\x7f\x7f");
    require(has_it || shown(at_once) == all, "all levels at once are as one after the other");
    const xml::item* const found = by_path.get(path.c_str(), nullptr);
    expand_each(by_path);
    require(shown(by_path) == all, "a lookup changes nothing");
    bool created;
    const xml::item* const made = by_path.get(nullptr, path.c_str(), created);
    require(found ? made == found && !created : created, "what is not found is created");
    const string before = shown(by_path), removed = shown(*made);
    const bool is_removed = by_path.remove(path.c_str());
    require(is_removed == (made != &by_path), "what is found can be removed");
    require(!is_removed || shown(by_path).size() + removed.size() == before.size(),
            "nothing else is");

    str_t compact, lines;
    by_levels.save(compact, 0);
    by_levels.saveF(lines, 2);
    require(compact.c_str() == written(by_levels, "", ""), "written on one line");
    require(lines.c_str() == written(by_levels, "  ", "\n"), "written line by line");

    const string escaped = xml::escape(text.c_str()).c_str();
    const string both = "<r t=\"" + escaped + "\">\n " + escaped + "\n</r>";
    at_once.load(both.data(), both.size());
    for (const char* each : {at_once.value, at_once.attributes.items[0].value})
        require(xml::unescape(each).c_str() == text, "an escaped text reads back");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    xml::root document("root"), other(document);
    while (!in.empty()) {
        const unsigned chosen = in.byte() % 8;
        const string path = in.text(), text = in.text();
        xml::item* const at = document.get(path.c_str(), nullptr); // may be null
        bool created;
        const std::function<void()> operations[] = {
            [&] { read(path, text.substr(0, 500)); }, // the long way takes long
            [&] { document.load(text.c_str(), text.size()); },
            [&] { document.get(path.c_str(), text.c_str(), created); },
            [&] { at->setText(text.c_str()); },
            [&] { document.attributes.set(path.c_str(), text.c_str(), created); },
            [&] { at->loadTag(document.buffer, document.value); },
            [&] { document = at ? *at : other; },
            [&] {
                if (at && shown(document).size() < 5000) // not for long: it doubles
                    at->children.add(document);
            },
        };
        operations[chosen]();
        xml::item copy(document);
        other = copy;
        copy = xml::item();
        const string all = shown(document, true);
        require(shown(other, true) == all, "a copy is the same");
        xml::root(document).search("\x7f\x7f");
        require(shown(document, true) == all, "the copy of a document stands alone");
    }
    return 0;
}
