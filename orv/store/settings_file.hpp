// The settings file: how its text is read, and how it is written. Not installed.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>
#include <orv/runtime/deadline.hpp>
#include <orv/store/file_state.hpp>
#include <orv/xml/root.hpp>

namespace ORV {

// What was found at the path of a settings file.
struct file_content {
    bool is_read = false;   // there is an ordinary file, and it could be opened and read
    bool is_empty = true;   // nothing came
    file_state state;       // of the file, from before it was read
    unsigned long hash = 0; // of the bytes that were read: all, or the beginning of a foreign file
    bin_t plain;            // deciphered, with the magic in front and a NUL behind; not if foreign

    // Whether it begins as a settings file under the key.
    bool is_settings() const { return !plain.empty(); }
    // Loads the document of a settings file; of any other nothing, and `into` stays as it is. True
    // if `into` is a whole document of ours then, with its marker.
    bool load(xml::root& into) const;
};

// How a file was written.
struct file_written {
    bool is_whole = false; // all of it
    int reason = 0;        // why not, as `errno`; 0 if nobody told
    file_state before;     // when it was opened
    file_state after;      // when it was closed
    unsigned long hash = 0;
};

// A settings file under a key. Keeps no file open.
class settings_file {
public:
    // The first 32 bytes of `key` count; what is missing counts as zeros. They are copied, and
    // wiped when this goes. The path is not copied.
    settings_file(const str_t& path, const str_t& key);
    settings_file(const settings_file&) = delete;
    settings_file& operator=(const settings_file&) = delete;
    ~settings_file();

    // Of a foreign file only the beginning is read, and what is no ordinary file is not even
    // opened. A lock is waited for, for a tenth of a second at most.
    file_content read();
    // The bytes of a file with that text.
    bin_t encipher(const str_t& text);
    // Writes those bytes. The file is opened again and again until that works or the deadline has
    // passed, which takes a tenth of a second at least. Where there is no room for them the file
    // stays as it is; and if not all of them could be written, the settings that the file held are
    // put back, as far as it takes them.
    file_written write(const runtime::deadline& limit, const bin_t& bytes);

private:
    static constexpr unsigned long key_size = 32;

    const char* path_;
    unsigned char key_[key_size] = {};
};

} // namespace ORV
