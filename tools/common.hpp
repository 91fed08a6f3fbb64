// What the tools have in common: options, errors, what they read and what they print.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace tools {

// The exit codes that mean the same in every tool; each has others beside them.
enum { done = 0, usage_error = 2, not_printed = 7 };

// An option of the command line, in its short and its long form. `take` gets the option's value,
// or null if it takes none.
struct option {
    char letter;
    const char* name;
    bool has_value;
    std::function<void(const char* value)> take;
};

// Reads the options of a command line, --help and --version among them, and returns the words.
// Options come before word number `last`, counted from 0: from there on everything is a word,
// whatever it begins with, as it is after "--".
std::vector<std::string> read_options(int argc, char** argv, const char* help,
                                      const std::vector<option>& options, unsigned long last);

// Prints what is wrong on standard error; `fail` ends the program, too.
[[noreturn]] void fail(int code, const std::string& message);
void warn(const std::string& message);

// The whole content of a file. If it cannot be read, the program fails with that code.
std::string read_file(const std::string& path, int code);
std::string read_all(std::FILE* file, const std::string& name, int code);

// The first line of a file, up to a NUL in it; no more of it is read than a line should have.
std::string read_first_line(const std::string& path, int code);

// Puts a text on standard output. If it cannot be written, the program fails.
void print(const std::string& text);

// The text on one line and without control characters: a line feed as \n, a carriage return as
// \r, a TAB as \t, a backslash as two, other control characters in hexadecimal as \x1b.
std::string on_one_line(const char* text);

// Whether there is a control character in the text.
bool has_control(const std::string& text);

} // namespace tools
