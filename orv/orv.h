/* The exported C interface of the library. Compiles as C99 and as C++.
 *
 * A host opens the settings store with ORV_open, gets and sets values by section and key from any
 * of its threads, saves now and then, and ends with ORV_close:
 *
 *     if (ORV_open("/path/app.settings", key) == ORV_OPEN_REFUSED)
 *         ...
 *     int width = ORVSC_GetInt("window", "width", 800);
 *     ORVSC_SetText("user", "name", "Ada <ada@example.org>");
 *     if (ORV_close() != ORV_SAVE_OK)
 *         ...
 *
 * Section and key are paths: a "/" goes one level deeper, letter case does not matter, and a null
 * or empty section stands for the top of the document. Each name in a path ends at its first space,
 * TAB, LF, CR, "=" or ">", so "proxy host" and "proxy port" are one and the same setting, "proxy".
 *
 * ORVSC_SetString and ORVSC_GetString take and return raw text of an XML document, neither escaped
 * nor decoded: text that contains markup, or begins or ends with white space, is not read back from
 * the file as it was set, and a "<" in a value, or a quote in a name, can swallow what follows it.
 * For text that is not the host's own, use ORVSC_SetText and ORVSC_GetText. See
 * docs/settings-file.md.
 *
 * Threads: the functions whose names begin with ORVSC_, and ORV_save, may be called by any number
 * of threads at once. ORV_open and ORV_close must be called by one, with no other call into the
 * store in progress. After a fork, the child must only run another program or end: in it, the
 * functions of the store may wait forever for a lock that a thread of the parent held. ORV_save and
 * ORV_close write nothing in a child.
 *
 * Exceptions: if memory runs out, ORV_open, ORV_close, and the functions with Int or String in
 * their names let the allocator's exception propagate, which a host in C cannot catch. The others
 * catch it and return 0.
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
    ORV_OPEN_NEW = 2,       /* no file yet, but one can be created; the store is open and empty */
    ORV_OPEN_UNREADABLE = 3 /* some or all of the file could not be read: because of a wrong key,
                               damage, an empty file, markup in a value, lack of permission or of a
                               writable folder, or because it is no ordinary file. The store is
                               open, with what could be read, and the first save replaces the file
                               */
};

/* Creates the library object, closing one that is open (call ORV_close yourself to learn what
 * becomes of its values), opens the store on the settings file at `path`, and starts the worker
 * that takes over changes made by other processes. A relative path is resolved against the present
 * working directory, even if that changes later. The key is the first 32 bytes at `key`; nothing
 * after them is read, not even a NUL. Returns one of the constants above.
 *
 * A new file is created with the permissions that the umask leaves of 0666; an existing one keeps
 * its own. A host that wants the file private puts it in a folder of mode 0700, or sets its umask
 * to 077 around its first save. */
ORV_API int ORV_open(const char* path, const char* key);

/* What has become of the values. */
enum {
    ORV_SAVE_FAILED = 0,  /* what was set since the last save is not in the file; errno says why,
                             or is 0 */
    ORV_SAVE_OK = 1,      /* all is in the file, or nothing was unsaved, or nothing is open */
    ORV_SAVE_REPLACED = 2 /* all present values are in the file; but since the last save another
                             process's save has replaced values that were set here */
};

/* Writes unsaved values to the file, leaves the store open, and returns what has become of the
 * values. It takes a tenth of a second, or two tenths while another process uses the file, so call
 * it at a pause and not at every keystroke; if the file cannot be opened, it is tried again for a
 * second. If there is no space, the file is unchanged and the values remain unsaved. That values
 * were replaced is reported to every thread that had set one, and at least once. */
ORV_API int ORV_save(void);
/* Stops the worker, saves as ORV_save does, and destroys the library object. Harmless when nothing
 * is open. Unsaved values are lost if a process ends without a save; a store that the host forgot
 * to close is saved when the library is unloaded.
 *
 * If the file cannot be opened for writing, it is tried again for 100 seconds, and then the values
 * are lost. So a host should ensure, before it opens the store, that the folder exists and that it
 * may write the file or create one: mkdir, then access with W_OK. */
ORV_API int ORV_close(void);
/* How often since ORV_open another process's values have replaced ours, unsaved ones included: for
 * a host that wants to read its settings again then. 0 if nothing is open. */
ORV_API int ORVSC_Reloads(void);

/* The number that the setting's text begins with, 0 if it begins with none; `def` only if there is
 * no such setting, or no open store. A number that does not fit an int gives its low 32 bits. */
ORV_API int ORVSC_GetInt(const char* section, const char* key, int def);

/* Copies the setting's text, or `def` if there is no such setting (null is empty), to `buf`, and
 * returns `buf`.
 *
 * `*size` is the greatest number of bytes to copy, and `buf` must have room for one more, unlike
 * with ORVSC_GetText: a NUL is added after the bytes copied. If the whole text fits, `*size`
 * becomes its length plus one, and the text's own NUL is copied, too; so that takes a size of the
 * length plus one. A longer text is silently cut. With a `*size` below 1, or a null `size`, only
 * the NUL is written.
 *
 * With a null `buf`, sets `*size` to the length of the text plus one, and returns null. Without an
 * open store, returns `def` itself and writes nothing. */
ORV_API const char* ORVSC_GetString(const char* section, const char* key, char* buf, int* size,
                                    const char* def);

/* Sets a value in memory, creating what is missing on its path; ORV_save and ORV_close write it to
 * the file. An element that had children loses them. With section and key both null, the whole
 * document is replaced by the value. Without an open store, does nothing. */
ORV_API void ORVSC_SetInt(const char* section, const char* key, int value);
/* Sets a text as ORVSC_SetInt sets a number. Null counts as empty text. */
ORV_API void ORVSC_SetString(const char* section, const char* key, const char* value);

/* Sets any text: it is escaped (`xml::escape`), so that markup, entities and white space at its
 * ends are read back from the file as they were. Null counts as empty text.
 *
 * Returns 1. Returns 0, and sets nothing, without an open store, without any name in section and
 * key, with a name that could not be read back (with white space, "=", ">", "<" or a quote in it),
 * and for "~ORV", which is the library's own. */
ORV_API int ORVSC_SetText(const char* section, const char* key, const char* text);
/* Copies the setting's text, with character references and entities decoded, to `buf`, and returns
 * the length of the whole text.
 *
 * At most `size` - 1 bytes and a NUL are copied, as by snprintf, and unlike with ORVSC_GetString:
 * the text was cut if the result is not less than `size`. With a null `buf` or a `size` below 1,
 * nothing is written. If there is no such setting, or no open store, `def` is copied as it is; it
 * may be in `buf`. If `def` is null, the text is empty and the result -1. */
ORV_API int ORVSC_GetText(const char* section, const char* key, char* buf, int size,
                          const char* def);
/* Removes all settings of that name, with everything below them; with a null `key`, the section.
 * Returns 1 if there was one, otherwise 0; also 0 without any name, and for "~ORV". */
ORV_API int ORVSC_Remove(const char* section, const char* key);
/* Copies the names directly below a section, each once, in their order, with an LF after each, to
 * `buf`; a null or empty section is the top of the document. `size` and the result are as with
 * ORVSC_GetText; -1, and empty text, if there is no such section, or no open store. */
ORV_API int ORVSC_GetNames(const char* section, char* buf, int size);

#ifdef __cplusplus
}
#endif

#endif
