// An element is closed by the end tag at which the tags of its own name balance. Tags of other
// names are only skipped, but they must be skipped as tags, because a "<" or ">" in a quoted
// attribute value is not markup. Four ways of finding that end tag all give the same result:
//
//   first tag  is the end tag if an element holds only text, as most do
//   search     examines many bytes at once (wide_search.cpp), and cannot always tell
//   walk       examines every byte and is right for every text
//   index      covers all tags of a text (tag_index.cpp), for an operation that goes deep
//
// Each of them yields the position of the end tag, or of the NUL that ends the text if the element
// is not closed.
#include <orv/xml/end_tag_finder.hpp>

#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <cstring>

namespace xml {

namespace {

// TAB, LF, space; not CR, on purpose.
bool is_trimmed(char c) { return c == ' ' || c == '\n' || c == '\t'; }

// Starts outside any tag.
char* walk(const char* name, char* at) {
    for (unsigned long open = 1;;) { // elements of that name
        char* const tag = scan_to(at, '<');
        if (*tag == 0)
            return tag;
        if (tag[1] == '/') {
            if (compare_names(tag + 2, name) == 0 && --open == 0)
                return tag;
            at = scan_to(tag + 2, '>');
        } else {
            bool closed;
            at = skip_tag(tag + 1, closed);
            if (!closed && compare_names(tag + 1, name) == 0)
                ++open;
        }
    }
}

} // namespace

void end_tag_finder::enter(char* content, unsigned long depth) {
    constexpr unsigned long deep = 16; // levels to search one by one before making an index
    char* end = content == closed_ ? closed_end_ : deep_ ? deep_->noted_end(content) : nullptr;
    if (!end)
        end = content + std::strlen(content);
    search_.enter(end);
    if (depth >= deep && !(deep_ && deep_->covers(content, end)))
        deep_ = std::make_unique<tag_index>(content, end);
}

char* end_tag_finder::close_value(const char* name, char* value) {
    char* const tag = locate(name, value);
    char* end = tag;
    char* last = tag; // the end tag's last byte, or the NUL
    if (*tag != 0) {
        last = scan_to(tag + 2, '>');
        // Trimming stops at the value's start, on purpose: white space before it is not part of the
        // value, so a value of white space alone is empty.
        while (end > value && is_trimmed(end[-1]))
            --end;
        *end = 0;
        closed_ = value;
        closed_end_ = end;
    }
    if (deep_)
        deep_->note_end(value, end);
    return *last == 0 ? behind_text(last) : last + 1;
}

// The end tag, or the NUL.
char* end_tag_finder::locate(const char* name, char* value) {
    if (deep_) {
        char* const tag = deep_->closing(name, value);
        return tag && tag < search_.end() ? tag : search_.end();
    }
    char* const first = search_.first_tag(value);
    if (*first == 0 || (first[1] == '/' && compare_names(first + 2, name) == 0))
        return first;
    char* const tag = search_.closing(name, first);
    return tag ? tag : walk(name, first);
}

} // namespace xml
