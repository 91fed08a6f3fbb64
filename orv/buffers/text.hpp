// Texts, and pointers that may be null, as callers pass them. Not installed.
#pragma once

#include <cstdlib>

namespace buffers {

// A null text counts as empty.
inline const char* or_empty(const char* text) { return text ? text : ""; }

// The number that a text begins with, as `atoi` reads it (blanks, a sign, digits), but defined for
// every text: a number that does not fit is clamped as by `strtol`, and then cut to its low 32
// bits. 0 if there is none.
inline int leading_int(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

// Whether a member was called through a null pointer. The library is compiled with
// -fno-delete-null-pointer-checks, so that the compiler does not assume the answer.
inline bool is_null(const void* receiver) { return receiver == nullptr; }

} // namespace buffers
