// Members of `xml::item` may be called through a null pointer. Not installed.
#pragma once

namespace xml {

// Whether a member was called through a null pointer. The library is compiled with
// -fno-delete-null-pointer-checks, so that the answer is not assumed.
inline bool is_null(const void* receiver) { return receiver == nullptr; }

} // namespace xml
