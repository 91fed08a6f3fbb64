#include <orv/store/setting_path.hpp>

#include <orv/buffers/text.hpp>
#include <orv/store/sconfig.hpp>
#include <orv/xml/name.hpp>

#include <cstring>
#include <initializer_list>

namespace ORV {

str_t joined(const char* section, const char* key) {
    str_t path;
    for (const char* at : {buffers::or_empty(section), buffers::or_empty(key)}) {
        for (;;) {
            at += std::strspn(at, "/");
            const unsigned long length = std::strcspn(at, "/");
            if (length == 0)
                break;
            if (!path.empty())
                path.add('/');
            path.append(at, length);
            at += length;
        }
    }
    return path;
}

bool is_marker(const char* path) {
    while (*path == '/')
        ++path;
    return xml::compare_names(path, sconfig::marker) == 0;
}

bool is_writable(const char* section, const char* key) {
    const str_t path = joined(section, key);
    return !path.empty() && !is_marker(path.c_str()) &&
           path.c_str()[std::strcspn(path.c_str(), " \t\n\r=><\"'")] == 0;
}

} // namespace ORV
