// Reading one element, in place. The start tag is taken apart here; the content is only searched
// for the end tag that closes it, by counting tags of the element's own name, and stays raw text
// until its children are asked for (expansion.cpp).
//
// Three classes of bytes matter, and they are not the same set:
//   white space      TAB LF CR space
//   trim set         TAB LF space: content that ends in CR LF keeps its CR, on purpose
//   name delimiters  NUL, white space, "/", "=", ">" (name.hpp)
//
// The text is never read behind its end. The scans stop at the first NUL; where they look one byte
// further, the second NUL of the buffer, or what follows a nested value, stands there.
#include <orv/xml/item.hpp>

#include "expansion.hpp"
#include "name.hpp"
#include "receiver.hpp"

namespace xml {

namespace {

bool is_space(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
bool is_trimmed(char c) { return c == ' ' || c == '\n' || c == '\t'; }
// Attribute values may stand in backquotes too, on purpose; in skipped tags these are no quotes.
bool is_quote(char c) { return c == '"' || c == '\'' || c == '`'; }

char* skip_space(char* at) {
    while (is_space(*at))
        ++at;
    return at;
}

// The first `wanted` or NUL.
char* find(char* at, char wanted) {
    while (*at != wanted && *at != 0)
        ++at;
    return at;
}

char* name_end(char* at) {
    while (!ends_name(*at))
        ++at;
    return at;
}

// Ends a name or value at its delimiter if that is white space, and steps past it. Every other
// delimiter still means something, and is overwritten when it has been dealt with.
char* end_at_space(char* at) {
    if (is_space(*at))
        *at++ = 0;
    return at;
}

// Where reading stops when it meets the end of the text: behind the first NUL if a second one
// stands there, as at the end of a buffer; at the NUL itself if not, as at the end of a nested
// value.
char* end_of_text(char* nul) { return nul[1] == 0 ? nul + 1 : nul; }

// Reads the attribute at `at`, which is no white space, into `attribute`. Returns where the tag
// goes on.
char* read_attribute(item& attribute, char* at) {
    attribute.name = at;
    at = name_end(at);
    if (*at != '=')
        return at;
    at = skip_space(at + 1);
    if (is_quote(*at)) {
        attribute.value = at + 1;
        at = find(at + 1, *at);
        if (*at != 0)
            *at++ = 0;
        return at;
    }
    attribute.value = at;
    return end_at_space(name_end(at));
}

// Steps over a tag inside some content, from the byte behind its "<" to behind its ">", or to the
// NUL that ends the text. `closed` tells whether it was an empty-element tag.
char* skip_tag(char* at, bool& closed) {
    closed = false;
    for (;; ++at) {
        switch (*at) {
        case 0:
            return at;
        case '"':
        case '\'':
            at = find(at + 1, *at);
            if (*at == 0)
                return at;
            break;
        case '/':
            if (at[1] != '>')
                break;
            closed = true;
            return at + 2;
        case '>':
            return at + 1;
        default:
            break;
        }
    }
}

// Ends the value in front of the end tag at `tag`, white space trimmed, but never in front of where
// the value begins.
void end_value(const char* value, char* tag) {
    while (tag > value && is_trimmed(tag[-1]))
        --tag;
    *tag = 0;
}

// Finds the end of the content that begins at `value`, of an element called `name`, and ends the
// value there. Returns the position behind the end tag. Tags of other names are only stepped over,
// balanced or not; an element that is not closed owns the rest of the text.
char* read_content(const char* name, char* value) {
    unsigned long depth = 1; // open elements of that name
    char* at = value;
    for (;;) {
        char* const tag = find(at, '<');
        if (*tag == 0)
            return end_of_text(tag);
        if (tag[1] != '/') {
            bool closed;
            at = skip_tag(tag + 1, closed);
            if (!closed && compare_names(tag + 1, name) == 0)
                ++depth;
            continue;
        }
        char* const last = find(tag + 2, '>');
        at = *last == 0 ? last : last + 1;
        if (compare_names(tag + 2, name) == 0 && --depth == 0) {
            end_value(value, tag);
            return *last == 0 ? end_of_text(last) : at;
        }
    }
}

// Reads the rest of a start tag, behind the name, and the content.
char* read_element(item& element, char* at) {
    collector attributes;
    for (;;) {
        if (is_space(*at)) {
            ++at;
        } else if (*at == '>') {
            *at = 0;
            element.value = skip_space(at + 1);
            attributes.finish(element.attributes);
            return *element.value == 0 ? element.value : read_content(element.name, element.value);
        } else if (*at == '/' && at[1] == '>') {
            *at = 0;
            attributes.finish(element.attributes);
            return at + 2;
        } else if (*at == '/') {
            ++at; // neither the end of the tag nor part of an attribute
        } else if (*at == 0) {
            attributes.finish(element.attributes);
            return at;
        } else {
            item& attribute = attributes.append();
            attribute.buffer = element.buffer;
            if (attribute.buffer)
                attribute.buffer->addRef();
            at = read_attribute(attribute, at);
        }
    }
}

} // namespace

char* item::loadTag(xml::buffer* source, char* position) {
    if (is_null(this))
        return nullptr;
    clear();
    name = nullptr;
    if (source)
        source->addRef(); // before the old one goes, which may be the same
    if (buffer)
        buffer->release();
    buffer = source;
    if (!position)
        return nullptr;

    char* at = find(position, '<');
    if (*at == 0)
        return at;
    ++at;
    if (*at == '/')
        return nullptr;
    if (*at == 0)
        return at;
    name = at;
    at = end_at_space(name_end(at));
    return read_element(*this, at);
}

} // namespace xml
