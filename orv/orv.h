/* The exported C interface of the library. Compiles as C99 and as C++.
 *
 * A host opens the settings store with ORV_open, gets and sets values by section and key from any
 * of its threads, and ends with ORV_close, which writes the file:
 *
 *     if (ORV_open("/path/app.settings", key) == ORV_OPEN_REFUSED)
 *         ...
 *     int width = ORVSC_GetInt("window", "width", 800);
 *     ORVSC_SetString("user", "name", "Ada");
 *     ORV_close();
 *
 * Section and key are paths: a "/" goes one level deeper, letter case does not matter, and a null
 * or empty section stands for the top of the document. Each name in a path ends at its first space,
 * TAB, LF, CR, "=" or ">", so "proxy host" and "proxy port" are one and the same setting, "proxy".
 * Nothing here reports an error: without an open store gets return their default and sets do
 * nothing.
 *
 * Values are raw text of an XML document, neither escaped nor decoded. Text that holds markup, or
 * begins or ends with white space, does not come back from the file as it was set; and a quote in a
 * name can swallow what stands behind it, as a "<" in a value can. See docs/settings-file.md.
 * base32 or base64 (orv.hpp) carry any bytes.
 */
#ifndef ORV_H
#define ORV_H

#include <orv/buffers/export.h>
#include <orv/runtime/identity.h>
#include <orv/runtime/trace.h>

/* The version of these headers: major, minor, patch, and all three as text. */
#define ORV_VERSION_MAJOR 1
#define ORV_VERSION_MINOR 0
#define ORV_VERSION_PATCH 0
#define ORV_VERSION_STRING "1.0.0"

#ifdef __cplusplus
namespace ORV {
class kernel;
}
typedef ORV::kernel ORV_kernel; /* the library object; C knows no more of it than its name */
extern "C" {
#else
typedef struct ORV_kernel ORV_kernel;
#endif

/* The library object; null while there is none. */
extern ORV_API ORV_kernel* g_Kernel;

/* What ORV_open found. */
enum {
    ORV_OPEN_REFUSED = 0, /* no path, or a key shorter than 32 bytes; nothing has changed */
    ORV_OPEN_LOADED = 1,
    ORV_OPEN_NEW = 2,       /* no file yet, or an empty one; the store is open and empty */
    ORV_OPEN_UNREADABLE = 3 /* not whole: some or all of it could not be read, for there is a wrong
                               key, damage, a value with markup in it, no permission, no folder, or
                               no ordinary file. The store is open, with what could be read, and
                               the first save replaces the file */
};

/* Makes the library object, in place of one that is open, which is closed, and opens the store on
 * the settings file at `path`, enciphered under the first 32 bytes of `key`, and starts the worker
 * that takes over changes made by other processes. Called by one thread, with no other call into
 * the store under way.
 *
 * The file is made with the permissions that the umask leaves of 0666, and keeps those it has. A
 * host that wants it private puts it into a folder of mode 0700, or sets its umask to 077 around
 * its first save. */
ORV_API int ORV_open(const char* path, const char* key);
/* Stops the worker, writes the file if a value was changed, and destroys the library object.
 * Harmless when nothing is open, and in a child made by fork, which has no claim to its parent's
 * file. Called like ORV_open. Values set are lost if a process ends without it.
 *
 * A save takes a tenth of a second, or two beside another process. If the file cannot be opened for
 * writing it is tried again for 100 seconds, and then the values are lost. So a host makes sure
 * before it opens the store that the folder exists, and that it may write the file, or make one:
 * mkdir, then access with W_OK. */
ORV_API void ORV_close(void);

/* The number that the setting's text begins with, 0 if it begins with none; `def` only if there is
 * no such setting. */
ORV_API int ORVSC_GetInt(const char* section, const char* key, int def);

/* Copies the setting's text, or `def` if there is no such setting, to `buf`, and returns `buf`.
 *
 * `*size` is the number of bytes wanted at most, and `buf` has room for one more: a NUL is put
 * behind the bytes copied. If the whole text fits, `*size` becomes its length and one, and the
 * text's own NUL is copied too; so a size of length and one is what it takes. A longer text is cut
 * without a mark. A `*size` below 1 writes only the NUL.
 *
 * With a null `buf`, sets `*size` to the length of the text and one, and returns null.
 * Without an open store, returns `def` itself and writes nothing. */
ORV_API const char* ORVSC_GetString(const char* section, const char* key, char* buf, int* size,
                                    const char* def);

/* Sets a value, creating what is missing on its path. The change is in memory till ORV_close. An
 * element that had children loses them. With section and key both null, the whole document is
 * replaced by the value. */
ORV_API void ORVSC_SetInt(const char* section, const char* key, int value);
/* Sets a text as ORVSC_SetInt sets a number. Null is an empty text. */
ORV_API void ORVSC_SetString(const char* section, const char* key, const char* value);

#ifdef __cplusplus
}
#endif

#endif
