// What the file system tells of a file. Not installed.
#pragma once

#include <ctime>
#include <sys/types.h>

struct stat;

namespace ORV {

struct file_state {
    bool is_absent = false;   // there is nothing of that name
    bool is_ordinary = false; // there is a file, and no pipe, device or directory
    timespec modified{};      // all zero, as everything that follows, if it is no ordinary file
    timespec status_changed{};
    off_t size = 0;
    ino_t number = 0;
    dev_t device = 0;

    bool is_empty() const { return is_ordinary && size == 0; }
};

file_state state_of(const char* path);
file_state state_of(int descriptor);

// Whether the content may be another one: its time, its size or its file is.
bool differs_in_content(const file_state& a, const file_state& b);
// Whether it is the same file, whatever is in it.
bool is_same_file(const file_state& a, const file_state& b);
// Whether anything about it is another.
bool differs(const file_state& a, const file_state& b);

// Whether a file of that path, at which there is none, can be made: its folder is there and can be
// written. Of a link this is the folder of what it leads to.
bool can_be_made(const char* path);

// Whether there is room for a file of that many bytes at that path, in place of what is there, on
// the file system and within the limit of the process; 0 if there is, or nobody tells, else the
// `errno` of what is lacking.
int lacking_room(const char* path, unsigned long bytes);

} // namespace ORV
