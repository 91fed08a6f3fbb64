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
 * ORVSC_SetString and ORVSC_GetString take and give raw text of an XML document, neither escaped
 * nor decoded: text that holds markup, or begins or ends with white space, does not come back from
 * the file as it was set, and a "<" in a value, or a quote in a name, can swallow what stands
 * behind it. For text that is not the host's own there are ORVSC_SetText and ORVSC_GetText. See
 * docs/settings-file.md.
 *
 * Threads: the functions whose names begin with ORVSC_, and ORV_save, may be called by any, at
 * once. ORV_open and ORV_close are called by one, with no other call into the store under way.
 * After a fork the child only runs another program or ends: there the functions of the store may
 * wait for ever for a lock that a thread of the parent held. ORV_save and ORV_close write nothing
 * in a child.
 *
 * Exceptions: if memory runs out, ORV_open, ORV_close, and the functions with Int or String in
 * their names let the allocator's exception pass, which a host in C cannot catch. The others catch
 * it, and return 0.
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
    ORV_OPEN_NEW = 2,       /* no file yet, and one can be made; the store is open and empty */
    ORV_OPEN_UNREADABLE = 3 /* not whole: some or all of it could not be read, for there is a wrong
                               key, damage, an empty file, a value with markup in it, no permission,
                               no folder that can be written, or no ordinary file. The store is
                               open, with what could be read, and the first save replaces the file
                               */
};

/* Makes the library object, in place of one that is open, which is closed (call ORV_close yourself
 * to learn what becomes of its values), and opens the store on the settings file at `path`, and
 * starts the worker that takes over changes made by other processes. A relative path is one from
 * the present working directory, wherever that goes. `key` is the first 32 bytes there; nothing
 * behind them is read, not even a NUL. Returns one of the constants above.
 *
 * The file is made with the permissions that the umask leaves of 0666, and keeps those it has. A
 * host that wants it private puts it into a folder of mode 0700, or sets its umask to 077 around
 * its first save. */
ORV_API int ORV_open(const char* path, const char* key);

/* What has become of the values. */
enum {
    ORV_SAVE_FAILED = 0,  /* what was set since the last save is not in the file; errno tells why,
                             or is 0 */
    ORV_SAVE_OK = 1,      /* all is in the file, or nothing was unsaved, or nothing is open */
    ORV_SAVE_REPLACED = 2 /* all that is there now is in the file; but since the last save another
                             process's save has replaced values that were set here */
};

/* Writes what is unsaved to the file, while the store stays open, and returns what has become of
 * the values. It takes a tenth of a second, or two beside another process, so it is called at a
 * pause and not at every keystroke; if the file cannot be opened it is tried again for a second.
 * If there is no room, the file stays as it was, and the values stay to be saved. That they were
 * replaced is told to every thread that had set one, and at least once. */
ORV_API int ORV_save(void);
/* Stops the worker, saves as ORV_save does, and destroys the library object. Harmless when nothing
 * is open. Values set are lost if a process ends without a save; a host that forgot to close the
 * store has it saved when the library is unloaded.
 *
 * If the file cannot be opened for writing it is tried again for 100 seconds, and then the values
 * are lost. So a host makes sure before it opens the store that the folder exists, and that it may
 * write the file, or make one: mkdir, then access with W_OK. */
ORV_API int ORV_close(void);
/* How often since ORV_open another process's values have replaced ours, unsaved ones included: for
 * a host that wants to look at its settings again then. 0 if nothing is open. */
ORV_API int ORVSC_Reloads(void);

/* The number that the setting's text begins with, 0 if it begins with none; `def` only if there is
 * no such setting, or no open store. A number that does not fit an int comes as its low 32 bits. */
ORV_API int ORVSC_GetInt(const char* section, const char* key, int def);

/* Copies the setting's text, or `def` if there is no such setting (null is empty), to `buf`, and
 * returns `buf`.
 *
 * `*size` is the number of bytes wanted at most, and `buf` has room for one more, unlike with
 * ORVSC_GetText: a NUL is put behind the bytes copied. If the whole text fits, `*size` becomes its
 * length and one, and the text's own NUL is copied too; so a size of length and one is what it
 * takes. A longer text is cut without a mark. A `*size` below 1 writes only the NUL, and so does a
 * null `size`.
 *
 * With a null `buf`, sets `*size` to the length of the text and one, and returns null.
 * Without an open store, returns `def` itself and writes nothing. */
ORV_API const char* ORVSC_GetString(const char* section, const char* key, char* buf, int* size,
                                    const char* def);

/* Sets a value in memory, creating what is missing on its path; ORV_save and ORV_close write it to
 * the file. An element that had children loses them. With section and key both null, the whole
 * document is replaced by the value. Without an open store, does nothing. */
ORV_API void ORVSC_SetInt(const char* section, const char* key, int value);
/* Sets a text as ORVSC_SetInt sets a number. Null is an empty text. */
ORV_API void ORVSC_SetString(const char* section, const char* key, const char* value);

/* Sets any text: it is escaped (`xml::escape`), so that markup, entities and white space at its
 * ends come back from the file as they were. Null is an empty text.
 *
 * Returns 1. Returns 0, and sets nothing, without an open store, without any name in section and
 * key, with a name that would not read back (white space, "=", ">", "<" or a quote in it), and for
 * "~ORV", which is the library's own. */
ORV_API int ORVSC_SetText(const char* section, const char* key, const char* text);
/* Copies the setting's text, with character references and entities decoded, to `buf`, and returns
 * the length of the whole text.
 *
 * At most `size` - 1 bytes are copied, and a NUL, as snprintf does it, and unlike with
 * ORVSC_GetString: the text was cut if the result is not below `size`. With a null `buf` or a
 * `size` below 1 nothing is written. If there is no such setting, or no open store, `def` is given,
 * as it is; it may stand in `buf`. If that is null, the text is empty and the result -1. */
ORV_API int ORVSC_GetText(const char* section, const char* key, char* buf, int size,
                          const char* def);
/* Takes out all settings of that name, with everything below them; with a null `key` the section.
 * Returns 1 if there was one, else 0; also 0 without any name, and for "~ORV". */
ORV_API int ORVSC_Remove(const char* section, const char* key);
/* Copies the names right below a section, each once, in their order, with an LF behind each, to
 * `buf`; a null or empty section is the top of the document. Room and result are those of
 * ORVSC_GetText; -1, and an empty text, if there is no such section, or no open store. */
ORV_API int ORVSC_GetNames(const char* section, char* buf, int size);

#ifdef __cplusplus
}
#endif

#endif
