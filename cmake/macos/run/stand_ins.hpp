// What the library imports on macOS, for a process on Linux. A function whose arguments and results
// are laid out alike on both systems is Linux's own; the others are written here to take and give
// what macOS does: its constants, structures and errors.
#pragma once

#include <string>
#include <vector>

namespace stand_ins {

// The stand-in for a symbol; throws std::runtime_error if there is none.
void* find(const std::string& symbol);

// What the library at `base` left to be done when it is unloaded, done now, last first.
void finalise(const void* base);

extern std::string executable;        // what the bundle services give as the path of the program
extern int bundle_objects;            // made by them for the library and not yet released
extern std::vector<int> signals_sent; // by pthread_kill, which sends nothing here
extern bool peer_hung_up;             // has every send fail as it does then, with a signal

} // namespace stand_ins
