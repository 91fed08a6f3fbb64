// Whether a trace is worth preparing. Not installed.
#pragma once

namespace runtime {

// Whether somebody sees what is traced: on Linux a program may have put a sink of its own in front
// of ours, which drops everything. The program is asked once.
bool traces_are_seen();

} // namespace runtime
