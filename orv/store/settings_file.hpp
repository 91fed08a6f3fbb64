// Reading and writing the settings file. Not installed.
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
    bool is_empty = true;   // nothing was read
    file_state state;       // of the file, before it was read
    unsigned long hash = 0; // of the bytes that were read: all, or the beginning of a foreign file
    bin_t plain;            // deciphered, from the magic to a final NUL; empty if foreign

    // Whether it begins as a settings file under the key.
    bool is_settings() const { return !plain.empty(); }
    // Loads the document of a settings file; for any other, `into` stays as it is. True if the file
    // is not empty and `into` is then a complete document of ours, with its marker.
    bool load(xml::root& into) const;
};

// How a file was written.
struct file_written {
    bool is_whole = false; // all of it
    int reason = 0;        // why not, as `errno`; 0 if unknown
    file_state before;     // when it was opened
    file_state after;      // when it was closed
    unsigned long hash = 0;
};

// A settings file under a key. Keeps no file open.
class settings_file {
public:
    // The first 32 bytes of `key` count; what is missing counts as zeros. They are copied, and
    // wiped on destruction. The path is not copied.
    settings_file(const str_t& path, const str_t& key);
    settings_file(const settings_file&) = delete;
    settings_file& operator=(const settings_file&) = delete;
    ~settings_file();

    // Reads only the beginning of a foreign file, and does not even open what is not an ordinary
    // file. Waits for a lock for a tenth of a second at most.
    file_content read();
    // The bytes of a file that holds that text.
    bin_t encipher(const str_t& text);
    // Writes those bytes. Opening the file is retried until it succeeds or the deadline has passed;
    // each attempt takes at least a tenth of a second. If there is no room for the bytes, the file
    // stays as it is; if not all of them can be written, the settings that the file held are put
    // back, as far as possible.
    file_written write(const runtime::deadline& limit, const bin_t& bytes);

private:
    static constexpr unsigned long key_size = 32;

    const char* path_;
    unsigned char key_[key_size] = {};
};

} // namespace ORV
