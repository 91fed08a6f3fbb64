// `ORV::kernel`, the library object: the owner of the store.
#pragma once

#include <orv/buffers/export.h>
#include <orv/runtime/critical.hpp>
#include <orv/runtime/pause.hpp>
#include <orv/runtime/thread.hpp>
#include <orv/store/sconfig.hpp>

namespace ORV {

// Opens and closes the store, and has a worker look for changes of the file by others, about once a
// second. A load that fails costs the document none of its values; one that succeeds replaces them
// all, unsaved ones included.
//
// An object that has saved stays marked as changed and saves again at its next close, so each store
// takes an object of its own.
//
// Threads: the four operations may be called by any, at once, and run beside the worker; `open`,
// `close` and the destructor by one, with no other call under way.
class ORV_API kernel : private thread {
public:
    kernel() = default;
    ~kernel() override; // closes

    // Closes what is open, reads the file at `path`, enciphered under the first 32 bytes of `key`,
    // and starts the worker. False if the file did not load as a whole document of ours; the store
    // is open all the same, with an empty document, and the next save replaces the file. Returns at
    // once unless the file is there and empty, as it is while another process saves: then it waits
    // up to a fifth of a second for what is to come.
    bool open(const char* path, const char* key);
    // Stops the worker, without waiting a pause of it out, and saves the document if it was
    // changed. Harmless when nothing is open.
    void close();
    // Whether the last `open` found no file, or an empty one.
    bool wasAbsent() const { return absent_; }

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
    int onRunStep(int step) override;
    bool reloadIfChanged();
    bool load();

    sconfig config_;
    critical lock_; // around each operation and each reload, never across a pause
    runtime::pause pause_;
    bool absent_ = false;
};

} // namespace ORV
