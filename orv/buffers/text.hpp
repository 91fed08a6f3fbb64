// Pointers that may be null. Not installed.
#pragma once

namespace buffers {

// A null text is the empty text.
inline const char* or_empty(const char* text) { return text ? text : ""; }

// Whether a member was called through a null pointer. The library is compiled with
// -fno-delete-null-pointer-checks, so that the answer is not assumed.
inline bool is_null(const void* receiver) { return receiver == nullptr; }

} // namespace buffers
