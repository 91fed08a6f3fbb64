// The parser's way in for the library itself. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

struct plain_stretch;

// `item::loadTag` where the end of the text, the NUL at `end`, is known already, and something of
// the text may be.
char* load_tag(item& into, buffer* source, char* position, char* end, plain_stretch& plain);

} // namespace xml
