// Reading one element, in place. The start tag is taken apart here; the content is only searched
// for the end tag that closes it (end_tag.cpp) and stays raw text until its children are asked for
// (expansion.cpp).
//
// Three classes of bytes matter, and they are not the same set:
//   white space      TAB LF CR space
//   trim set         TAB LF space: content that ends in CR LF keeps its CR, on purpose
//   name delimiters  NUL, white space, "/", "=", ">" (name.hpp)
//
// The text is never read behind its end. The scans stop at the first NUL; where they look one byte
// further, the second NUL of the buffer, or what follows a nested value, stands there.
#include <orv/xml/parser.hpp>

#include <orv/xml/end_tag.hpp>
#include <orv/xml/expansion.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

namespace xml {

namespace {

// Attribute values may stand in backquotes too, on purpose; in skipped tags these are no quotes.
bool is_quote(char c) { return c == '"' || c == '\'' || c == '`'; }

char* skip_space(char* at) {
    while (is_space(*at))
        ++at;
    return at;
}

char* name_end(char* at) {
    while (!is_delimiter(*at))
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

// Reads the attribute at `at`, which is no white space, into `attribute`. Returns where the tag
// goes on.
char* read_attribute(item& attribute, char* at) {
    attribute.name = at;
    at = name_end(at);
    if (*at != '=')
        return at;
    *at++ = 0; // ends the name, and an unquoted value that runs up to here
    at = skip_space(at);
    if (is_quote(*at)) {
        attribute.value = at + 1;
        at = scan_to(at + 1, *at);
        if (*at != 0)
            *at++ = 0;
        return at;
    }
    attribute.value = at;
    // A "=" within an unquoted value ends it, on purpose, as every name delimiter does; it begins
    // an attribute without a name.
    return end_at_space(name_end(at));
}

// Reads the rest of a start tag, behind the name, and the content.
char* read_element(item& element, char* at, end_tag_finder& end_tags) {
    collector attributes(element.buffer);
    for (;;) {
        if (is_space(*at)) {
            ++at;
        } else if (*at == '>') {
            *at = 0;
            attributes.finish(element.attributes); // first, for it may throw
            element.value = skip_space(at + 1);
            return *element.value == 0 ? element.value
                                       : end_tags.close_value(element.name, element.value);
        } else if (*at == '/' && at[1] == '>') {
            *at = 0;
            attributes.finish(element.attributes);
            return at + 2;
        } else if (*at == '/') {
            *at++ = 0; // ends no tag, but an unquoted value that runs up to here
        } else if (*at == 0) {
            attributes.finish(element.attributes);
            return at;
        } else {
            at = read_attribute(attributes.append(), at);
        }
    }
}

} // namespace

char* item::loadTag(xml::buffer* source, char* position) {
    if (is_null(this))
        return nullptr;
    if (source)
        source->addRef(); // first, for what goes now may be all that holds it
    clear();
    name = nullptr;
    if (buffer)
        buffer->release();
    buffer = source;
    if (!position)
        return nullptr;
    end_tag_finder end_tags(position);
    position = read_tag(*this, position, end_tags);
    if (source)
        source->refs.fetch_add(attributes.count, std::memory_order_relaxed);
    return position;
}

char* read_tag(item& into, char* position, end_tag_finder& end_tags) {
    char* at = scan_to(position, '<');
    if (*at == 0)
        return at;
    ++at;
    if (*at == '/')
        return nullptr;
    if (*at == 0)
        return at;
    into.name = at;
    at = end_at_space(name_end(at));
    return read_element(into, at, end_tags);
}

} // namespace xml
