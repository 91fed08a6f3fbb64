#include "trace_recorder.hpp"

#include <orv/runtime/trace.h>

#include <cstdio>
#include <map>
#include <mutex>

namespace support {

namespace {

struct by_format {
    unsigned long count = 0;
    long sum = 0;
};

std::mutex guard;
bool active = false;
std::vector<trace_recorder::entry> recorded;
std::map<std::string, by_format> formats;

std::string formatted(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}

} // namespace

trace_recorder::trace_recorder() {
    const std::lock_guard<std::mutex> lock(guard);
    active = true;
}

trace_recorder::~trace_recorder() {
    const std::lock_guard<std::mutex> lock(guard);
    active = false;
    recorded.clear();
    formats.clear();
}

std::vector<trace_recorder::entry> trace_recorder::entries() const {
    const std::lock_guard<std::mutex> lock(guard);
    return recorded;
}

std::string trace_recorder::text() const {
    std::string all;
    for (const entry& one : entries())
        all += one.text;
    return all;
}

unsigned long trace_recorder::count(const std::string& format) const {
    const std::lock_guard<std::mutex> lock(guard);
    return formats[format].count;
}

long trace_recorder::sum(const std::string& format) const {
    const std::lock_guard<std::mutex> lock(guard);
    return formats[format].sum;
}

} // namespace support

void ORV_traceV(unsigned code, const char* format, va_list args) {
    using namespace support;
    const std::lock_guard<std::mutex> lock(guard);
    if (!active)
        return;
    by_format& statistics = formats[format];
    ++statistics.count;
    if (std::string(format).find("%d") != std::string::npos) {
        va_list again;
        va_copy(again, args);
        statistics.sum += va_arg(again, int);
        va_end(again);
    }
    recorded.push_back({code, formatted(format, args)});
}
