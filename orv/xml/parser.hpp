// The parser's entry point for the library itself. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

class end_tag_finder;

// Reads one element into an item that is empty but for its buffer, from `position`, which must not
// be null. The references of its attributes to the buffer remain for the caller to count.
char* read_tag(item& into, char* position, end_tag_finder& end_tags);

} // namespace xml
