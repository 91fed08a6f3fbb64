// Text in which nothing is markup.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>

namespace xml {

// Values are raw text, in which a "<" begins a tag and white space at the ends goes when they are
// read. These two let any text without a zero byte be a value, of an element or an attribute, that
// reads back as it was: here, and in every other reader of XML if the text is UTF-8.
//
// Null is empty text. Threads: any. Errors: only the allocator's exception.

// The text with "&", "<", ">" and both quotes as entities (&amp; &lt; &gt; &quot; &apos;), and with
// every CR, and white space (TAB, LF, CR, space) that is the first or the last byte, as decimal
// character references (&#13;). All other bytes are as they were.
ORV_API str_t escape(const char* text);

// The text with those five entities and all character references, decimal (&#8364;) or hexadecimal
// (&#x20AC;), replaced by what they stand for, in one pass: what comes out is not looked at again.
// Characters are written as UTF-8. What is no such reference stands as it is: one without its ";",
// another entity, and the numbers that no character has (0, surrogates, those above 10FFFF). Other
// bytes are not looked at, and need not be UTF-8.
ORV_API str_t unescape(const char* text);

} // namespace xml
