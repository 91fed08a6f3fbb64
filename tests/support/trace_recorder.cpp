#include "trace_recorder.hpp"

#include <orv/runtime/trace.h>

#include <cstdlib>
#include <mutex>
#include <utility>

namespace {

// The library traces before the program is initialised and after it has ended, so neither of these
// is ever made or destroyed.
std::mutex mutex;
std::vector<traced>* lines; // null if nobody wants them

} // namespace

void ORV_traceV(unsigned code, const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    std::string text(static_cast<unsigned>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    const std::lock_guard<std::mutex> lock(mutex);
    if (lines)
        lines->push_back({code, std::move(text), format});
}

std::vector<traced> take_traces() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!lines)
        lines = new std::vector<traced>;
    return std::exchange(*lines, {});
}

std::vector<std::string> take_trace_texts() {
    std::vector<std::string> texts;
    for (traced& line : take_traces())
        texts.push_back(std::move(line.text));
    return texts;
}

namespace support {

trace_recorder::~trace_recorder() {
    const std::lock_guard<std::mutex> lock(mutex);
    delete std::exchange(lines, nullptr);
}

long trace_recorder::sum(const std::string& format) const {
    const std::lock_guard<std::mutex> lock(mutex);
    long total = 0;
    for (const traced& line : *lines) {
        if (line.format == format)
            total += std::atol(line.text.c_str() + format.find('%'));
    }
    return total;
}

} // namespace support
