// The sink is alone in its source file, so that calls to it are never bound within the library and
// a program can replace it with one of its own.
#include <orv/runtime/trace.h>

void ORV_traceV(unsigned, const char*, va_list) {}
