// Writing a tree back as text. Names, attribute values and texts are written exactly as they are
// held: values are raw markup, so nothing is escaped. An element with children is written with
// these and without its value. Neither writer recurses, as a tree may be deeper than the stack
// allows. Most pieces of markup are a few bytes long, so they are gathered before they are
// appended.
#include <orv/xml/writer.hpp>

#include <orv/xml/name.hpp>

#include <cstring>
#include <vector>

namespace xml {

namespace {

// Gathers what is written to a sink, which has all of it once `finish` has been called.
class gathering {
public:
    explicit gathering(sink& out) : out_(out) {}
    gathering(const gathering&) = delete;
    gathering& operator=(const gathering&) = delete;

    void add(char c) {
        if (count_ == sizeof bytes_)
            finish();
        bytes_[count_++] = c;
    }
    void add(const char* bytes, unsigned long count) {
        if (count > sizeof bytes_ - count_) {
            finish();
            if (count > sizeof bytes_) {
                out_.append(bytes, count);
                return;
            }
        }
        std::memcpy(bytes_ + count_, bytes, count);
        count_ += count;
    }
    void add(const char* text) { add(text, std::strlen(text)); }
    void finish() {
        out_.append(bytes_, count_);
        count_ = 0;
    }

private:
    sink& out_;
    unsigned long count_ = 0;
    char bytes_[4096];
};

struct text_sink : sink {
    str_t& text;
    explicit text_sink(str_t& to) : text(to) {}
    void append(const char* bytes, unsigned long count) override { text.append(bytes, count); }
};

void write_name(gathering& out, const char* name) {
    name = or_empty(name);
    out.add(name, name_length(name));
}

void write_attributes(gathering& out, const list& attributes) {
    for (unsigned long i = 0; i < attributes.count; ++i) {
        const item& attribute = attributes.items[i];
        if (!attribute.name)
            continue;
        out.add(' ');
        write_name(out, attribute.name);
        if (attribute.value && *attribute.value) { // else a bare name
            out.add("=\"", 2);
            out.add(attribute.value);
            out.add('"');
        }
    }
}

void write_spaces(gathering& out, int count) {
    static const char spaces[] = "                                                                ";
    constexpr int at_once = sizeof spaces - 1;
    for (; count > 0; count -= at_once)
        out.add(spaces, static_cast<unsigned long>(count < at_once ? count : at_once));
}

// Everything on one line.
struct compact {
    gathering& out;

    static bool is_written(const item& element) { return element.name != nullptr; }
    void start(const item& element, int) {
        out.add('<');
        write_name(out, element.name);
        write_attributes(out, element.attributes);
    }
    void end_empty() { out.add("/>", 2); }
    void end_start() { out.add('>'); }
    void text(const char* value, int) { out.add(value); }
    void end(const item& element, int) {
        out.add("</", 2);
        write_name(out, element.name);
        out.add('>');
    }
};

// A line for each tag and text. Line ends within a text are written as they are.
struct indented {
    gathering& out;

    static bool is_written(const item& element) {
        return element.name && !is_delimiter(*element.name);
    }
    void start(const item& element, int level) {
        write_spaces(out, level);
        compact{out}.start(element, level);
    }
    void end_empty() { out.add("/>\n", 3); }
    void end_start() { out.add(">\n", 2); }
    void text(const char* value, int level) {
        write_spaces(out, level + 1);
        out.add(value);
        out.add('\n');
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

void write_compact(const item& element, sink& out) {
    gathering gathered(out);
    write(compact{gathered}, &element, 0);
    gathered.finish();
}

void item::save(str_t& out, int) const {
    text_sink text(out);
    if (!is_null(this))
        write_compact(*this, text);
}

void item::saveF(str_t& out, int level) const {
    if (is_null(this))
        return;
    text_sink text(out);
    gathering gathered(text);
    write(indented{gathered}, this, level);
    gathered.finish();
}

} // namespace xml
