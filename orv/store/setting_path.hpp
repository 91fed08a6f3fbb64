// The names that lead to a setting. Not installed.
#pragma once

#include <orv/buffers/str.hpp>

namespace ORV {

// The names in section and key, either of which may be null, joined by single "/"s; empty if there
// are none.
str_t joined(const char* section, const char* key);

// Whether the path leads to the owner's marker, or below it.
bool is_marker(const char* path);

// Whether a value set at section and key can be found there again after a save: there is a name,
// each name consists only of bytes that are read back as part of it, and it is not the marker.
bool is_writable(const char* section, const char* key);

} // namespace ORV
