#include <orv/runtime/executable.hpp>

namespace runtime {

namespace {

bool is_separator(char c) { return c == '\\' || c == '/' || c == ':'; }

void cut(ORV_text& text, unsigned long length) {
    text.text[length] = 0;
    text.length = length;
}

} // namespace

void cut_to_directory(ORV_text& path) {
    for (unsigned long i = path.length; i-- > 0;) {
        if (is_separator(path.text[i]))
            return cut(path, i);
    }
}

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

} // namespace runtime
