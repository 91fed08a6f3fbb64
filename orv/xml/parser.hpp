// The parser's way in for the library itself. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

class end_tag_finder;

// Reads one element into an item that is empty but for its buffer, from `position`, which is not
// null. The references of its attributes to the buffer remain to be counted.
char* read_tag(item& into, char* position, end_tag_finder& end_tags);

} // namespace xml
