// Where the content of an element ends. Not installed.
#pragma once

namespace xml {

// A stretch of text that is known to be plain: between `begin` and `end`, both outside of any tag,
// every "<" begins a tag and every ">" ends one. What is found out about the text of one element
// holds for the elements in it, so whoever parses several levels of a text keeps one of these.
struct plain_stretch {
    const char* begin = nullptr;
    const char* end = nullptr;
};

// Ends the value of an element called `name`, whose content begins at `value`, in front of the end
// tag that closes it, white space trimmed. `end` is the NUL that ends the text. Returns the
// position behind the end tag; where the text ends if there is none.
char* end_content(const char* name, char* value, char* end, plain_stretch& plain);

// Where reading stops when it meets the end of the text: behind the first NUL if a second one
// stands there, as at the end of a buffer; at the NUL itself if not, as at the end of a nested
// value.
inline char* end_of_text(char* nul) { return nul[1] == 0 ? nul + 1 : nul; }

// The first `wanted` or NUL.
inline char* find(char* at, char wanted) {
    while (*at != wanted && *at != 0)
        ++at;
    return at;
}

} // namespace xml
