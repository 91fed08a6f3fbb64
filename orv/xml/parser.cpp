// Reading one element, in place. The start tag is parsed here; the content is only searched for the
// end tag that closes the element (end_tag_finder.cpp) and stays raw text until its children are
// asked for (expansion.cpp).
//
// Three classes of bytes matter, and they differ:
//   white space      TAB LF CR space
//   trim set         TAB LF space: content that ends in CR LF keeps its CR, on purpose
//   name delimiters  NUL, white space, "/", "=", ">" (name.hpp)
//
// The text is never read past its end. Scans stop at the first NUL; where they look one byte
// further, they find the second NUL of the buffer, or whatever follows a nested value.
#include <orv/xml/parser.hpp>

#include <orv/xml/end_tag_finder.hpp>
#include <orv/xml/expansion.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

namespace xml {

namespace {

// Attribute values may be in backquotes too, on purpose; in skipped tags these are not quotes.
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

// Terminates a name or value at its delimiter if that is white space, and steps past it. Any other
// delimiter still has a meaning, and is overwritten once it has been handled.
char* end_at_space(char* at) {
    if (is_space(*at))
        *at++ = 0;
    return at;
}

// Reads the attribute at `at`, which is not white space, into `attribute`. Returns where the tag
// continues.
char* read_attribute(item& attribute, char* at) {
    attribute.name = at;
    at = name_end(at);
    if (*at != '=')
        return at;
    *at++ = 0; // terminates the name, and any unquoted value that ends here
    at = skip_space(at);
    if (is_quote(*at)) {
        attribute.value = at + 1;
        at = scan_to(at + 1, *at);
        if (*at != 0)
            *at++ = 0;
        return at;
    }
    attribute.value = at;
    // A "=" within an unquoted value ends it, on purpose, as every name delimiter does; it then
    // begins an attribute without a name.
    return end_at_space(name_end(at));
}

// Reads the rest of a start tag, after the name, and the content.
char* read_element(item& element, char* at, end_tag_finder& end_tags) {
    collector attributes(element.buffer);
    for (;;) {
        if (is_space(*at)) {
            ++at;
        } else if (*at == '>') {
            *at = 0;
            attributes.finish(element.attributes); // first, as it may throw
            element.value = skip_space(at + 1);
            return *element.value == 0 ? element.value
                                       : end_tags.close_value(element.name, element.value);
        } else if (*at == '/' && at[1] == '>') {
            *at = 0;
            attributes.finish(element.attributes);
            return at + 2;
        } else if (*at == '/') {
            *at++ = 0; // terminates any unquoted value that ends here, but not the tag
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
        source->addRef(); // first, as what is released below may be all that holds it
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
