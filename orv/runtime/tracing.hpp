// Whether a trace is worth preparing. Not installed.
#pragma once

namespace runtime {

// Whether anyone sees what is traced: on Linux a program may replace our sink, which drops
// everything, with one of its own. This is checked once.
bool traces_are_seen();

} // namespace runtime
