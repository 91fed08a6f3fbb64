#include <orv/store/file_state.hpp>

#include <orv/runtime/platform.hpp>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace ORV {

namespace {

file_state state_from(const struct stat& found) {
    file_state state;
    state.is_ordinary = S_ISREG(found.st_mode);
    if (!state.is_ordinary)
        return state;
    state.modified = runtime::modification_time(found);
    state.status_changed = runtime::status_time(found);
    state.size = found.st_size;
    state.number = found.st_ino;
    state.device = found.st_dev;
    return state;
}

bool differ(const timespec& a, const timespec& b) {
    return a.tv_sec != b.tv_sec || a.tv_nsec != b.tv_nsec;
}

// The folder that holds, or would hold, the file at `path`; for a link, the folder of what it
// finally leads to. Empty if there are too many links.
std::string folder_of(std::string path) {
    constexpr int most_links = 40; // as many as the system follows
    for (int links = 0; links < most_links; ++links) {
        const auto slash = path.rfind('/');
        std::string folder = slash == path.npos ? "./" : path.substr(0, slash + 1);
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length < 0)
            return folder;
        const std::string leads_to(target, static_cast<unsigned long>(length));
        path = leads_to[0] == '/' ? leads_to : folder + leads_to;
    }
    return "";
}

} // namespace

file_state state_of(const char* path) {
    struct stat found;
    if (stat(path, &found) == 0)
        return state_from(found);
    file_state state;
    state.is_absent = errno == ENOENT;
    return state;
}

file_state state_of(int descriptor) {
    struct stat found;
    return fstat(descriptor, &found) == 0 ? state_from(found) : file_state();
}

bool differs_in_content(const file_state& a, const file_state& b) {
    return differ(a.modified, b.modified) || a.size != b.size || a.number != b.number;
}

bool is_same_file(const file_state& a, const file_state& b) {
    return a.number == b.number && a.device == b.device;
}

bool differs(const file_state& a, const file_state& b) {
    return differs_in_content(a, b) || differ(a.status_changed, b.status_changed) ||
           !is_same_file(a, b);
}

bool can_be_made(const char* path) {
    return faccessat(AT_FDCWD, folder_of(path).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

int lacking_room(const char* path, unsigned long bytes) {
    struct stat old {};
    const bool is_there = stat(path, &old) == 0;
    if (is_there && !S_ISREG(old.st_mode))
        return 0;
    rlimit most;
    if (getrlimit(RLIMIT_FSIZE, &most) == 0 && bytes > most.rlim_cur)
        return EFBIG;
    struct statvfs system;
    if (statvfs(is_there ? path : folder_of(path).c_str(), &system) != 0 || system.f_blocks == 0 ||
        system.f_frsize == 0)
        return 0;
    const unsigned long block = system.f_frsize;
    const unsigned long free = geteuid() == 0 ? system.f_bfree : system.f_bavail;
    const unsigned long held = static_cast<unsigned long>(old.st_blocks) * 512 / block;
    return (bytes + block - 1) / block <= free + held ? 0 : ENOSPC;
}

} // namespace ORV
