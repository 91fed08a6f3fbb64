// Writing a tree back as text. Names, attribute values and texts go out exactly as they are held:
// values are raw markup, so nothing is escaped. An element with children is written with these and
// without its value. Both writers keep their own way back up, for a tree may be deeper than calls
// can be.
#include <orv/xml/item.hpp>

#include "name.hpp"
#include "receiver.hpp"

#include <cstring>
#include <vector>

namespace xml {

namespace {

void write_name(str_t& out, const char* name) {
    name = or_empty(name);
    out.append(name, name_length(name));
}

void write_attributes(str_t& out, const list& attributes) {
    for (unsigned long i = 0; i < attributes.count; ++i) {
        const item& attribute = attributes.items[i];
        if (!attribute.name)
            continue;
        out.add(' ');
        write_name(out, attribute.name);
        if (attribute.value && *attribute.value) // else a bare name
            (out.append("=\"", 2) << attribute.value).add('"');
    }
}

void write_spaces(str_t& out, int count) {
    static const char spaces[] = "                                                                ";
    constexpr int at_once = sizeof spaces - 1;
    for (; count > 0; count -= at_once)
        out.append(spaces, static_cast<unsigned long>(count < at_once ? count : at_once));
}

// Everything on one line.
struct compact {
    str_t& out;

    static bool is_written(const item& element) { return element.name != nullptr; }
    void start(const item& element, int) {
        out.add('<');
        write_name(out, element.name);
        write_attributes(out, element.attributes);
    }
    void end_empty() { out.append("/>", 2); }
    void end_start() { out.add('>'); }
    void text(const char* value, int) { out << value; }
    void end(const item& element, int) {
        out.append("</", 2);
        write_name(out, element.name);
        out.add('>');
    }
};

// A line for each tag and text. A text that has line ends of its own is written as it is.
struct indented {
    str_t& out;

    static bool is_written(const item& element) {
        return element.name && !ends_name(*element.name);
    }
    void start(const item& element, int level) {
        write_spaces(out, level);
        compact{out}.start(element, level);
    }
    void end_empty() { out.append("/>\n", 3); }
    void end_start() { out.append(">\n", 2); }
    void text(const char* value, int level) {
        write_spaces(out, level + 1);
        (out << value).add('\n');
    }
    void end(const item& element, int level) {
        write_spaces(out, level);
        compact{out}.end(element, level);
        out.add('\n');
    }
};

template <class Style>
void write(Style style, const item* top, int level) {
    struct open_element {
        const item* element;
        unsigned long next; // child to be written
    };
    std::vector<open_element> open;
    for (const item* at = top;;) {
        if (Style::is_written(*at)) {
            const bool has_text = at->value && *at->value;
            style.start(*at, level);
            if (at->children.count != 0) {
                style.end_start();
                open.push_back({at, 0});
                ++level;
            } else if (has_text) {
                style.end_start();
                style.text(at->value, level);
                style.end(*at, level);
            } else {
                style.end_empty();
            }
        }
        while (!open.empty() && open.back().next == open.back().element->children.count) {
            style.end(*open.back().element, --level);
            open.pop_back();
        }
        if (open.empty())
            return;
        at = open.back().element->children.items + open.back().next++;
    }
}

} // namespace

void item::save(str_t& out, int) const {
    if (!is_null(this))
        write(compact{out}, this, 0);
}

void item::saveF(str_t& out, int level) const {
    if (!is_null(this))
        write(indented{out}, this, level);
}

} // namespace xml
