// `ORV::kernel`, the library object: the owner of the store.
#pragma once

#include <orv/buffers/export.h>

namespace ORV {

class store; // the settings, their file, and the worker

// Opens, saves and closes the store, and has a worker check about once a second whether others have
// changed the file. A changed file is read concurrently with the host's calls, which do not wait
// for it; if it loads, it replaces every value, unsaved ones included; if not, no value is lost.
//
// Threads: the operations on settings and `save` may be called by any number at once, concurrently
// with the worker; `open`, `close` and the destructor by one, with no other call in progress. A
// forked child has a copy of the object, but not of the worker: it must not run the destructor,
// which would wait for the worker and save to its parent's file.
class ORV_API kernel {
public:
    // What has become of the values.
    enum saved {
        save_failed = 0,  // those set since the last save are not in the file
        save_ok = 1,      // all are in the file
        save_replaced = 2 // all are, but another process's save has replaced some of ours
    };

    kernel();
    ~kernel(); // closes
    kernel(const kernel&) = delete;
    kernel& operator=(const kernel&) = delete;

    // Closes what is open, reads the file at `path`, enciphered under the first 32 bytes of `key`,
    // and starts the worker. A relative path is resolved at once, against the current working
    // directory. No byte after the 32nd of the key is read; what a shorter text lacks counts as
    // zeros. False if the file did not load as a complete document of ours; the store is open all
    // the same, with what could be read of it, and the next save replaces the file.
    // Returns at once, unless another process has locked the file, for which it waits up to a tenth
    // of a second, or the file is empty: then it waits up to a fifth for content to appear.
    bool open(const char* path, const char* key);
    // Saves what is unsaved, trying for 10000 ticks to open the file, and stops the worker without
    // waiting for its pause to end. Without an open file nothing can be saved: `save_failed` if a
    // value was set, else `save_ok`.
    int close();
    // Saves what is unsaved, trying for a second to open the file. `save_replaced` is returned at
    // least once, and to every thread that has set a value since its last save (in the last store
    // in which it did, if it uses several). After `save_failed`, `errno` tells why, or is 0.
    int save();
    // Whether the last `open` found no file where one can be created.
    bool wasAbsent() const;
    // How often the values of another process have replaced ours since the last `open`.
    int reloads() const;

    // The number that the text of a setting begins with, 0 if it begins with none; `def` only if
    // there is no such setting.
    int getInt(const char* section, const char* key, int def);
    // Copies the text of a setting, or `def` (null counts as empty) if there is no such setting, to
    // `buf`: at most `size` bytes and then a NUL, so `buf` must have room for size + 1. A text that
    // fits is copied with its own NUL too, and `size` becomes its length plus one. With a null
    // `buf`, only sets `size` to the length plus one. A negative size counts as 0. Returns `buf`.
    char* getString(const char* section, const char* key, char* buf, int& size, const char* def);
    // Set a value in memory; the element loses its children. Setting the value that is already
    // there changes nothing.
    void setInt(const char* section, const char* key, int value);
    void setString(const char* section, const char* key, const char* value);

    // The functions below are described in orv.h, under the names ORVSC_SetText, ORVSC_GetText,
    // ORVSC_Remove and ORVSC_GetNames. Here all of them let the allocator's exception pass.
    int setText(const char* section, const char* key, const char* text);
    int getText(const char* section, const char* key, char* buf, int size, const char* def);
    int remove(const char* section, const char* key);
    int getNames(const char* section, char* buf, int size);

private:
    store* store_;
};

} // namespace ORV
