#include <orv/runtime/trace.h>

#include <orv/runtime/identity.h>
#include <orv/runtime/tracing.hpp>

#include <algorithm>
#include <cstring>
#include <dlfcn.h>

ORV_text ORV_TracePath;
ORV_text ORV_TraceAppName;
unsigned char PF_TraceInit;

namespace {

// Appends as much of `bytes` as there is room for.
void append(ORV_text& text, const char* bytes) {
    const unsigned long room = sizeof text.text - 1 - text.length;
    const unsigned long count = std::min<unsigned long>(std::strlen(bytes), room);
    std::memmove(text.text + text.length, bytes, count); // they may be part of it
    text.length += count;
    text.text[text.length] = 0;
}

void assign(ORV_text& text, const char* bytes) {
    text.length = 0;
    append(text, bytes);
}

// The address at which the library or program of a function is loaded; null if unknown.
template <class Function>
const void* image_of(Function function) {
    Dl_info found;
    return dladdr(reinterpret_cast<const void*>(function), &found) != 0 ? found.dli_fbase : nullptr;
}

} // namespace

bool runtime::traces_are_seen() {
    static const bool is_foreign = image_of(&ORV_traceV) != image_of(&runtime::traces_are_seen);
    return is_foreign;
}

void ORV_traceInit(const char* appName, const char* path) {
    assign(ORV_TracePath, path ? path : ORV_getAppPath());
    if (!path)
        append(ORV_TracePath, "/logs");
    assign(ORV_TraceAppName, appName ? appName : ORV_getAppName());
    PF_TraceInit = 1;
}

void ORV_traceFree() {}

// The codes: the entry point's number is the level, 0x1000 marks all, 0x0400 the counters.

void ORV_trace2(const char* format, ...) {
    va_list args;
    va_start(args, format);
    ORV_traceV(0x1402, format, args);
    va_end(args);
}

void ORV_trace4(const char* format, ...) {
    va_list args;
    va_start(args, format);
    ORV_traceV(0x1004, format, args);
    va_end(args);
}

void ORV_trace6(const char* format, ...) {
    va_list args;
    va_start(args, format);
    ORV_traceV(0x1006, format, args);
    va_end(args);
}
