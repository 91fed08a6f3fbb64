// `ORV::kernel`, the library object: the owner of the store.
#pragma once

#include <orv/buffers/export.h>

namespace ORV {

class store; // the settings, their lock, and the worker

// Opens and closes the store, and has a worker look for changes of the file by others, about once a
// second. A changed file is read beside the host's calls, which do not wait for it; if it loads, it
// replaces every value, unsaved ones included, and if it does not, it costs none.
//
// An object that has saved stays marked as changed and saves again at its next close, so each store
// takes an object of its own.
//
// Threads: the four operations may be called by any, at once, and run beside the worker; `open`,
// `close` and the destructor by one, with no other call under way.
class ORV_API kernel {
public:
    kernel();
    ~kernel(); // closes
    kernel(const kernel&) = delete;
    kernel& operator=(const kernel&) = delete;

    // Closes what is open, reads the file at `path`, enciphered under the first 32 bytes of `key`,
    // and starts the worker. False if the file did not load as a whole document of ours; the store
    // is open all the same, with what could be read of it, and the next save replaces the file.
    // Returns at once unless another process saves the file just then: then it waits up to a tenth
    // of a second for the lock, and a fifth for what is to come into an empty file.
    bool open(const char* path, const char* key);
    // Stops the worker, without waiting a pause of it out, and saves the document if it was
    // changed. Harmless when nothing is open.
    void close();
    // Whether the last `open` found no file where one can be made, or an empty one.
    bool wasAbsent() const;

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

private:
    store* const store_;
};

} // namespace ORV
