// Scanning raw text. No scan goes past the NUL that ends it. Not installed.
#pragma once

namespace xml {

inline bool is_space(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// The first `wanted` or NUL.
inline char* scan_to(char* at, char wanted) {
    while (*at != wanted && *at != 0)
        ++at;
    return at;
}

// Skips a tag inside content, from the byte after its "<" to the one after its ">", or to the NUL
// that ends the text. `closed` tells whether it was an empty-element tag.
inline char* skip_tag(char* at, bool& closed) {
    closed = false;
    for (;; ++at) {
        switch (*at) {
        case 0:
            return at;
        case '"':
        case '\'':
            at = scan_to(at + 1, *at);
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

// Where reading stops at the end of the text: after the first NUL if a second one follows, as at
// the end of a buffer; otherwise at the NUL itself, as at the end of a nested value.
inline char* behind_text(char* nul) { return nul[1] == 0 ? nul + 1 : nul; }

} // namespace xml
