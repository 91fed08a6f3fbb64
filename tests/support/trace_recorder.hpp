// Receives the library's trace lines: a test program that uses this has a sink of its own in front
// of the library's.
#pragma once

#include <string>
#include <vector>

namespace support {

// While it lives, keeps every trace of every thread, formatted. One at a time.
class trace_recorder {
public:
    struct entry {
        unsigned code;
        std::string text;
    };

    trace_recorder();
    trace_recorder(const trace_recorder&) = delete;
    trace_recorder& operator=(const trace_recorder&) = delete;
    ~trace_recorder();

    std::vector<entry> entries() const;
    // The texts one behind the other.
    std::string text() const;
    // How many traces were made with that format.
    unsigned long count(const std::string& format) const;
    // The sum of the first argument of every trace of that format, which must be "...%d...".
    long sum(const std::string& format) const;
};

} // namespace support
