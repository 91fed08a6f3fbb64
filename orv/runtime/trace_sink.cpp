// The sink stands alone in its source, so that calls to it are never bound within the library and a
// program can put a sink of its own in front of it.
#include <orv/runtime/trace.h>

void ORV_traceV(unsigned, const char*, va_list) {}
