// Numbers in text that came from outside. Not installed.
#pragma once

#include <cstdlib>

namespace transport {

// What `atoi` gives, also for the numbers that are too large for it: blanks, a sign, digits; 0 if
// there are none.
inline int leading_int(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

} // namespace transport
