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

// Ends a value in front of the end tag at `closing`, white space trimmed, but never in front of
// where the value begins. Returns the position behind the end tag; `closing` becomes that of the
// NUL.
char* close_content(char* value, char*& closing);

} // namespace xml
