// The path of the running executable, and how it is taken apart. Not installed.
#pragma once

#include <orv/runtime/text.h>

namespace runtime {

// Asks the operating system for the path of the running executable, into `text` (its length is not
// set). A path that cannot be had, or cannot be converted to ASCII, leaves `text` empty. At most
// 255 bytes are written, the terminator included.
void executable_path(char (&text)[256]);

// Cuts a path to the directory in it: everything before the last "\", "/" or ":". A path without
// one stays whole.
void cut_to_directory(ORV_text& path);
// Cuts the last extension off the last component of a path, and returns where that component
// begins.
const char* cut_to_name(ORV_text& path);

} // namespace runtime
