// `ORV::kernel`, the library object: the owner of the store.
#pragma once

#include <orv/buffers/export.h>

namespace ORV {

class store; // the settings, their file, and the worker

// Opens, saves and closes the store, and has a worker look for changes of the file by others, about
// once a second. A changed file is read beside the host's calls, which do not wait for it; if it
// loads, it replaces every value, unsaved ones included, and if it does not, it costs none.
//
// Threads: the operations on settings and `save` may be called by any, at once, and run beside the
// worker; `open`, `close` and the destructor by one, with no other call under way. A child made by
// fork has a copy of the object, but not the worker: it must not run the destructor, which would
// wait for the worker and save to the file of its parent.
class ORV_API kernel {
public:
    // What has become of the values.
    enum saved {
        save_failed = 0,  // those set since the last save are not in the file
        save_ok = 1,      // all are in the file
        save_replaced = 2 // so they are, but another process's save has replaced some of ours
    };

    kernel();
    ~kernel(); // closes
    kernel(const kernel&) = delete;
    kernel& operator=(const kernel&) = delete;

    // Closes what is open, reads the file at `path`, enciphered under the first 32 bytes of `key`,
    // and starts the worker. A relative path is one from the present working directory, wherever
    // that goes. No byte behind the 32 of the key is read; what a shorter text lacks counts as
    // zeros. False if the file did not load as a whole document of ours; the store is open all the
    // same, with what could be read of it, and the next save replaces the file.
    // Returns at once, unless another process has locked the file, which is waited for up to a
    // tenth of a second, or the file is empty: then it looks for a fifth whether something comes.
    bool open(const char* path, const char* key);
    // Saves what is unsaved, trying for 10000 ticks to open the file, and stops the worker, without
    // waiting a pause of it out. Without an open file nothing can be saved: `save_failed` if a
    // value was set, else `save_ok`.
    int close();
    // Saves what is unsaved, trying for a second to open the file. `save_replaced` is told at least
    // once, and to every thread that has set a value since it has saved (in the last store in which
    // it did, if it uses several). After `save_failed`, `errno` tells why, or is 0.
    int save();
    // Whether the last `open` found no file where one can be made.
    bool wasAbsent() const;
    // How often since the last `open` the values of another process have replaced ours.
    int reloads() const;

    // The number that the text of a setting begins with, 0 if it begins with none; `def` only if
    // there is no such setting.
    int getInt(const char* section, const char* key, int def);
    // Copies the text of a setting, or `def` (null is empty) if there is no such setting, to `buf`:
    // at most `size` bytes and then a NUL, so `buf` has room for size + 1. A text that fits comes
    // with its own NUL too and leaves its length and one in `size`. With a null `buf`, only tells
    // in `size` the length and one. A negative size counts as 0. Returns `buf`.
    char* getString(const char* section, const char* key, char* buf, int& size, const char* def);
    // Set a value, in memory; the element loses its children. A value that is there already changes
    // nothing.
    void setInt(const char* section, const char* key, int value);
    void setString(const char* section, const char* key, const char* value);

    // The functions below are described in orv.h, under the names ORVSC_SetText, ORVSC_GetText,
    // ORVSC_Remove and ORVSC_GetNames. Of these, the allocator's exception passes through here.
    int setText(const char* section, const char* key, const char* text);
    int getText(const char* section, const char* key, char* buf, int size, const char* def);
    int remove(const char* section, const char* key);
    int getNames(const char* section, char* buf, int size);

private:
    store* store_;
};

} // namespace ORV
