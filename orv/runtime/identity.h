/* Which application the library runs in. C99 and C++.
 *
 * Both answers are determined once and kept for the life of the process; neither is ever null, and
 * both are empty if the path of the executable is unavailable or contains a byte outside ASCII. At
 * most 254 bytes of the path count. An executable deleted or replaced since it was started keeps
 * the path it had.
 *
 * Threads: any number, at once.
 */
#ifndef ORV_RUNTIME_IDENTITY_H
#define ORV_RUNTIME_IDENTITY_H

#include <orv/buffers/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The directory of the running executable, without a separator at its end. */
ORV_API const char* ORV_getAppPath(void);
/* The executable's file name without its last extension. */
ORV_API const char* ORV_getAppName(void);

#ifdef __cplusplus
}
#endif

#endif
