// What the library traces. In a test program that uses this, a sink of its own stands in front of
// the library's.
#pragma once

#include <string>
#include <vector>

struct traced {
    unsigned code;
    std::string text; // formatted
    std::string format = {};

    bool operator==(const traced& other) const { return code == other.code && text == other.text; }
};

// The traces since the last call, of all threads; the first call begins the record.
std::vector<traced> take_traces();
