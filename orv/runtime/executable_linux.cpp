#include <orv/runtime/executable.hpp>

#include <unistd.h>

namespace runtime {

void executable_path(char (&text)[256]) {
    text[0] = 0;
    const ssize_t length = readlink("/proc/self/exe", text, sizeof text - 1);
    if (length <= 0)
        return;
    text[length] = 0;
    for (ssize_t i = 0; i < length; ++i) {
        if (static_cast<unsigned char>(text[i]) > 127) { // no ASCII: no path
            text[0] = 0;
            return;
        }
    }
}

} // namespace runtime
