// Texts that may be null. Not installed.
#pragma once

namespace buffers {

// A null text is the empty text.
inline const char* or_empty(const char* text) { return text ? text : ""; }

} // namespace buffers
