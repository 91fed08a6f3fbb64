// Texts, and pointers that may be null, as they come from outside. Not installed.
#pragma once

#include <cstdlib>

namespace buffers {

// A null text is the empty text.
inline const char* or_empty(const char* text) { return text ? text : ""; }

// The number that a text begins with, as `atoi` reads it (blanks, a sign, digits), but defined for
// every text: a number that does not fit is cut to what `strtol` makes of it, and then to its low
// 32 bits. 0 if there is none.
inline int leading_int(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

// Whether a member was called through a null pointer. The library is compiled with
// -fno-delete-null-pointer-checks, so that the answer is not assumed.
inline bool is_null(const void* receiver) { return receiver == nullptr; }

} // namespace buffers
