// `ORV::sconfig`, the settings document and its file.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>
#include <orv/xml/root.hpp>

namespace ORV {

// Settings by section and key in a document, and the enciphered file in which the document outlives
// the process. docs/settings-file.md describes the file byte for byte.
//
// The owner sets `file` and `cipherKey`, calls `readV`, works on `doc`, and calls `flush` or lets
// the destructor write back; a forked child must not run the destructor, which would write, too.
// Threads: one at a time; it takes no lock.
class ORV_API sconfig {
public:
    // The document is one empty element "root".
    sconfig();
    sconfig(const sconfig&) = delete;
    sconfig& operator=(const sconfig&) = delete;
    // Flushes, and wipes the key text.
    virtual ~sconfig();

    // Loads the file into `doc`, replacing its content, and clears `changed`. A file that cannot be
    // read, is empty, or does not begin as a settings file within its first 4096 bytes leaves both
    // as they are; a pipe, a device or a directory is not even opened. True only if there was
    // something to read and `doc` then has the `marker`.
    virtual bool readV();
    // Writes `doc` to the file; true if every byte was written. Opening the file is retried for
    // `timeout` ticks of the times() clock, with a pause of 100 ms after each attempt, even a
    // successful one; with no time left nothing is tried. If there is no room for it, the file
    // stays as it was, and if not all can be written, the settings it held are put back; `errno`
    // tells why, or is 0. Leaves `changed` and `fileTime` as they are.
    virtual bool writeV(long timeout);

    // Sets an integer, unless the present text already reads as that number.
    void setInt(const char* section, const char* key, int value);
    // Writes the document if it was changed, and notes the file's time if that succeeded. Leaves
    // `changed` set; only a load clears it.
    void flush();

    str_t file;           // full path; empty until the owner opens the store
    xml::root doc;        // sections, keys below them, values as their text
    str_t cipherKey;      // its first 32 bytes are the key; what is missing counts as zeros
    bool changed = false; // set by every operation that sets a new value
    long fileTime = 0;    // modification time last seen by the owner, in seconds; 0 if unknown

    // The top-level element that identifies a complete document of ours. It sorts after every name
    // that a host would choose, so it is last, and a truncated file lacks it.
    static const char* const marker;
};

} // namespace ORV
