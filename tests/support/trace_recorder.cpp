#include "trace_recorder.hpp"

#include <orv/runtime/trace.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace {

struct record {
    std::mutex mutex;
    bool is_wanted = false;
    std::vector<traced> lines;
};

// The library traces before the program is initialised and after it has ended, so this is made on
// demand and never destroyed.
record& recorded() {
    static record& made = *new record;
    return made;
}

} // namespace

void ORV_traceV(unsigned code, const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    std::string text(static_cast<unsigned>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    const std::lock_guard<std::mutex> lock(recorded().mutex);
    if (recorded().is_wanted)
        recorded().lines.push_back({code, std::move(text), format});
}

std::vector<traced> take_traces() {
    const std::lock_guard<std::mutex> lock(recorded().mutex);
    recorded().is_wanted = true;
    return std::exchange(recorded().lines, {});
}

std::vector<std::string> take_trace_texts() {
    std::vector<std::string> texts;
    for (traced& line : take_traces())
        texts.push_back(std::move(line.text));
    return texts;
}

namespace support {

trace_recorder::~trace_recorder() {
    take_traces();
    const std::lock_guard<std::mutex> lock(recorded().mutex);
    recorded().is_wanted = false;
}

std::vector<traced> trace_recorder::entries() const {
    const std::lock_guard<std::mutex> lock(recorded().mutex);
    return recorded().lines;
}

std::string trace_recorder::text() const {
    std::string all;
    for (const traced& line : entries())
        all += line.text;
    return all;
}

unsigned long trace_recorder::count(const std::string& format) const {
    unsigned long found = 0;
    for (const traced& line : entries())
        found += line.format == format;
    return found;
}

long trace_recorder::sum(const std::string& format) const {
    long total = 0;
    for (const traced& line : entries()) {
        if (line.format == format)
            total += std::atol(line.text.c_str() + format.find('%'));
    }
    return total;
}

} // namespace support
