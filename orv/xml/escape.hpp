// Escaping text so that nothing in it is markup.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>

namespace xml {

// Values are raw text, in which a "<" begins a tag and white space at either end is lost on
// reading. With these two functions any text without a zero byte can be the value of an element or
// an attribute and reads back unchanged: here, and in every other XML reader if the text is UTF-8.
//
// Null counts as empty text. Threads: any. Errors: only the allocator's exception.

// The text with "&", "<", ">" and both quotes as entities (&amp; &lt; &gt; &quot; &apos;), and with
// every CR, and any white space (TAB, LF, CR, space) that is the first or the last byte, as decimal
// character references (&#13;). All other bytes are unchanged.
ORV_API str_t escape(const char* text);

// The text with those five entities and all character references, decimal (&#8364;) or hexadecimal
// (&#x20AC;), replaced by what they stand for, in one pass: the result is not scanned again.
// Characters are written as UTF-8. Anything else is left as it is: a reference without its ";", any
// other entity, and numbers that no character has (0, surrogates, those above 10FFFF). Other bytes
// are not examined, and need not be UTF-8.
ORV_API str_t unescape(const char* text);

} // namespace xml
