#include "trace_recorder.hpp"

#include <orv/runtime/trace.h>

#include <mutex>
#include <utility>

namespace {

// The library traces before the program is initialised and after it has ended, so neither of these
// is ever made or destroyed.
std::mutex mutex;
std::vector<traced>* lines; // null if nobody wants them

} // namespace

void ORV_traceV(unsigned code, const char* format, va_list args) {
    char* text = nullptr;
    vasprintf(&text, format, args);
    const std::lock_guard<std::mutex> lock(mutex);
    if (lines)
        lines->push_back({code, text, format});
    std::free(text);
}

std::vector<traced> take_traces() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!lines)
        lines = new std::vector<traced>;
    return std::exchange(*lines, {});
}
