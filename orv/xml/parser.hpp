// The parser's way in for the library itself. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

struct survey;

// Reads one element into an item that is empty but for its buffer, from `position`, which is not
// null. The end of the text, the NUL at `end`, is known already, and something of the text may be.
// The references of its attributes to the buffer remain to be counted.
char* read_tag(item& into, char* position, char* end, survey& known);

} // namespace xml
