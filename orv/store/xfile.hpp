// `ORV::xfile`, an open file.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>

#include <cstdio>

namespace ORV {

// Owns an open stdio file, closes it on destruction, and reads text files line by line. Threads:
// one at a time.
class ORV_API xfile {
public:
    xfile() = default;
    ~xfile();
    xfile(const xfile&) = delete;
    xfile& operator=(const xfile&) = delete;

    // Closes what is open and opens `path` with a mode as for `fopen`. False if that fails.
    bool open(const char* path, const char* mode);
    // False if it turns out that something could not be written. True without an open file.
    bool close();
    // Reads the next line into `line`, without its terminator: CR, LF, one of each in either order,
    // or NUL. False at the end of the file, or if none is open. The file is read in pieces of 255
    // bytes; where a single CR or LF is the last byte of a full piece, the line continues with the
    // text after it; readers of such files expect the joined line.
    bool read(str_t& line);

    str_t path;                  // of the last open that succeeded
    str_t text;                  // for the owner's use
    bool flag = false;           // for the owner's use; cleared by every open
    std::FILE* handle = nullptr; // null without an open file
};

} // namespace ORV
