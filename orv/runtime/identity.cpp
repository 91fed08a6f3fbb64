#include <orv/runtime/identity.h>

#include <orv/runtime/executable.hpp>

#include <cstring>

namespace {

ORV_text executable() {
    ORV_text path{};
    runtime::executable_path(path.text);
    path.text[254] = 0; // at most 254 bytes survive
    path.length = std::strlen(path.text);
    return path;
}

} // namespace

const char* ORV_getAppPath() {
    static const ORV_text directory = [] {
        ORV_text path = executable();
        runtime::cut_to_directory(path);
        return path;
    }();
    return directory.text;
}

const char* ORV_getAppName() {
    static ORV_text path = executable();
    static const char* const name = runtime::cut_to_name(path);
    return name;
}
