// What the file system reports about a file. Not installed.
#pragma once

#include <ctime>
#include <sys/types.h>

struct stat;

namespace ORV {

struct file_state {
    bool is_absent = false;   // nothing has that name
    bool is_ordinary = false; // a file, not a pipe, device or directory
    timespec modified{};      // zero, like all that follows, if it is not an ordinary file
    timespec status_changed{};
    off_t size = 0;
    ino_t number = 0;
    dev_t device = 0;

    bool is_empty() const { return is_ordinary && size == 0; }
};

file_state state_of(const char* path);
file_state state_of(int descriptor);

// Whether the content may differ: the modification time, the size or the file number does.
bool differs_in_content(const file_state& a, const file_state& b);
// Whether both are the same file, whatever is in it.
bool is_same_file(const file_state& a, const file_state& b);
// Whether the content may differ, or the file or the time of its last status change does.
bool differs(const file_state& a, const file_state& b);

// Whether a file can be created at that path, where there is none: its folder exists and can be
// written to. For a link this is the folder of what it leads to.
bool can_be_made(const char* path);

// Whether a file of that many bytes fits at that path, in place of what is there, on the file
// system and within the limit of the process; 0 if it does, or if that is unknown, else the `errno`
// for what is lacking.
int lacking_room(const char* path, unsigned long bytes);

} // namespace ORV
