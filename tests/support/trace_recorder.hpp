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
// The texts alone.
std::vector<std::string> take_trace_texts();

namespace support {

// Counts what is traced while it lives, by all threads and for any of them to ask for. One at a
// time; `take_traces` begins it anew.
class trace_recorder {
public:
    trace_recorder() { take_traces(); }
    trace_recorder(const trace_recorder&) = delete;
    trace_recorder& operator=(const trace_recorder&) = delete;
    ~trace_recorder(); // ends the record

    // The sum of the numbers in the traces of that format, which has one "%d".
    long sum(const std::string& format) const;
};

} // namespace support
