// The bytes of names: what ends a name, and the order of names. Not installed.
#pragma once

#include <orv/buffers/text.hpp>

namespace xml {

// The rank of a byte in the order of names: 0 for the bytes that end a name, lower case for upper
// case, the byte itself for any other. Bytes from 0x80 up are negative and so sort before ASCII, on
// purpose.
struct name_bytes {
    signed char rank[256];

    constexpr name_bytes() : rank{} {
        for (int byte = 0; byte < 256; ++byte)
            rank[byte] = static_cast<signed char>(byte < 128 ? byte : byte - 256);
        for (int byte = 'A'; byte <= 'Z'; ++byte)
            rank[byte] = static_cast<signed char>(byte - 'A' + 'a');
        const char delimiters[] = {'\0', '\t', '\n', '\r', ' ', '/', '=', '>'};
        for (char delimiter : delimiters)
            rank[static_cast<unsigned char>(delimiter)] = 0;
    }
};
inline constexpr name_bytes bytes_of_names;

inline int rank(char c) { return bytes_of_names.rank[static_cast<unsigned char>(c)]; }
inline bool is_delimiter(char c) { return rank(c) == 0; }

// Less than, equal to or greater than 0 as `a` sorts before, with or after `b`. Neither may be
// null. If they are equal, `end` is set to where `a` ends.
inline int compare_names(const char* a, const char* b, const char*& end) {
    for (;; ++a, ++b) {
        const int x = rank(*a);
        const int y = rank(*b);
        if (x != y)
            return x < y ? -1 : 1;
        if (x == 0) {
            end = a;
            return 0;
        }
    }
}
inline int compare_names(const char* a, const char* b) { return compare_names(a, b, a); }

using buffers::is_null;
using buffers::or_empty; // a null name is the empty name

inline unsigned long name_length(const char* name) {
    const char* end = name;
    while (!is_delimiter(*end))
        ++end;
    return static_cast<unsigned long>(end - name);
}

} // namespace xml
