// The operating system supplies the path; it is taken apart in the same way everywhere.
#include <orv/runtime/identity.h>

#include <orv/runtime/platform.hpp>
#include <orv/runtime/text.h>

#include <cstring>

namespace {

ORV_text executable() {
    ORV_text path{};
    runtime::executable_path(path.text);
    path.text[254] = 0; // at most 254 bytes are kept
    path.length = std::strlen(path.text);
    return path;
}

bool is_separator(char c) { return c == '\\' || c == '/' || c == ':'; }

void cut(ORV_text& text, unsigned long length) {
    text.text[length] = 0;
    text.length = length;
}

// Keeps everything before the last separator. A path without one stays whole.
void cut_to_directory(ORV_text& path) {
    for (unsigned long i = path.length; i-- > 0;) {
        if (is_separator(path.text[i]))
            return cut(path, i);
    }
}

// Cuts the last extension off the last component, and returns where that component begins.
const char* cut_to_name(ORV_text& path) {
    bool extension_cut = false;
    for (unsigned long i = path.length; i-- > 0;) {
        if (is_separator(path.text[i]))
            return path.text + i + 1;
        if (path.text[i] == '.' && !extension_cut) {
            cut(path, i);
            extension_cut = true; // the last one only
        }
    }
    return path.text;
}

} // namespace

const char* ORV_getAppPath() {
    static const ORV_text directory = [] {
        ORV_text path = executable();
        cut_to_directory(path);
        return path;
    }();
    return directory.text;
}

const char* ORV_getAppName() {
    static ORV_text path = executable();
    static const char* const name = cut_to_name(path);
    return name;
}
