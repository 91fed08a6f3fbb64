/* Symbol visibility and format checking, for C99 and C++ alike. */
#ifndef ORV_BUFFERS_EXPORT_H
#define ORV_BUFFERS_EXPORT_H

/* Everything in the library is hidden except what carries this attribute. */
#define ORV_API __attribute__((__visibility__("default")))
/* Keeps one member of an exported class hidden. */
#define ORV_LOCAL __attribute__((__visibility__("hidden")))

/* Makes the compiler check the arguments of a printf-like function, given the 1-based positions of
   the format and of the first argument it formats (0 if the function takes a va_list). */
#define ORV_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))

struct orv_export; /* makes this header valid C on its own: a C source must declare something */

#endif
