/* Tracing. C99 and C++.
 *
 * Three entry points tag a message with a fixed code and hand it to one sink, which does nothing in
 * this library: a trace call is accepted and discarded, formats nothing and never fails, before
 * ORV_traceInit and after ORV_traceFree alike. The two texts let the host see where traces would
 * go.
 *
 * On Linux a program may define an ORV_traceV of its own, which then receives the library's traces,
 * from any thread. It is also called when the library is loaded and unloaded: before the
 * constructors of the program's static objects have run, and after their destructors.
 *
 * Threads: any thread may make trace calls. ORV_traceInit is to be called once, early, by one.
 */
#ifndef ORV_RUNTIME_TRACE_H
#define ORV_RUNTIME_TRACE_H

#include <orv/buffers/export.h>
#include <orv/runtime/text.h>

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

extern ORV_API ORV_text ORV_TracePath;     /* the log directory */
extern ORV_API ORV_text ORV_TraceAppName;  /* the application's name */
extern ORV_API unsigned char PF_TraceInit; /* 1 once ORV_traceInit has been called */

/* Sets where traces belong. A null `path` stands for the application's directory with "/logs"
 * appended ("/logs" alone if the directory is unknown, see identity.h), a null `appName` for the
 * application's name; both texts are cut to 255 bytes. Calling it again overwrites both. */
ORV_API void ORV_traceInit(const char* appName, const char* path);
/* Does nothing; both texts and the flag remain. */
ORV_API void ORV_traceFree(void);

/* The sink. Codes: 0x1402, 0x1004 and 0x1006 from the entry points below. */
ORV_API void ORV_traceV(unsigned code, const char* format, va_list args) ORV_PRINTF(2, 0);

ORV_API void ORV_trace2(const char* format, ...) ORV_PRINTF(1, 2); /* a few counters */
ORV_API void ORV_trace4(const char* format, ...) ORV_PRINTF(1, 2); /* ordinary messages */
ORV_API void ORV_trace6(const char* format, ...) ORV_PRINTF(1, 2); /* every detail */

#ifdef __cplusplus
}
#endif

#endif
