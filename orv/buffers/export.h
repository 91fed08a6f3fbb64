/* Symbol visibility and format checking, for C99 and C++ alike. */
#ifndef ORV_BUFFERS_EXPORT_H
#define ORV_BUFFERS_EXPORT_H

/* Everything in the library is hidden but what carries this mark. */
#define ORV_API __attribute__((__visibility__("default")))
/* A member of a class that carries it, which is no part of what the library exports. */
#define ORV_LOCAL __attribute__((__visibility__("hidden")))

/* Has the compiler check the arguments of a printf-like function: the 1-based position of the
   format, and that of the first argument it formats (0 where a va_list is taken). */
#define ORV_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))

struct orv_export; /* so that this header alone is a source in C, which has to declare something */

#endif
