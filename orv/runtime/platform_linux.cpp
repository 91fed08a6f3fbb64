// Linux. The kernel is asked where the C library's answer would not do: it names the executable,
// and it knows which threads there are when the memory behind a handle may be gone.
#include <orv/runtime/platform.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <netdb.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>
#include <vector>

namespace runtime {

namespace {

constexpr char self[] = "/proc/self/exe";

// The mark that the kernel puts behind the path of an executable whose file has been deleted or
// replaced; a file may also be called so.
bool is_marked_deleted(const std::string& path) {
    const std::string mark = " (deleted)";
    if (path.size() < mark.size() ||
        path.compare(path.size() - mark.size(), mark.size(), mark) != 0)
        return false;
    struct stat running, named;
    return stat(self, &running) != 0 || stat(path.c_str(), &named) != 0 ||
           running.st_ino != named.st_ino || running.st_dev != named.st_dev;
}

} // namespace

// Without a place for them, the processor times of all threads are not added up.
long ticks() { return static_cast<long>(times(nullptr)); }

void executable_path(char (&text)[256]) {
    text[0] = 0;
    std::string path(PATH_MAX + 16, '\0'); // with room for the mark
    const ssize_t length = readlink(self, path.data(), path.size());
    if (length <= 0)
        return;
    path.resize(static_cast<size_t>(length));
    if (is_marked_deleted(path))
        path.resize(path.rfind(' '));
    for (const char c : path) {
        if (static_cast<unsigned char>(c) > 127)
            return; // no ASCII: no path
    }
    path.resize(std::min(path.size(), sizeof text - 1));
    std::memcpy(text, path.c_str(), path.size() + 1);
}

int current_thread_id() { return static_cast<int>(syscall(SYS_gettid)); }

void nudge(pthread_t, int id) {
    if (id != 0)
        syscall(SYS_tgkill, getpid(), id, SIGCONT);
}

bool is_pending_for_thread(int signal) {
    sigset_t pending; // for either
    sigemptyset(&pending);
    sigpending(&pending);
    if (sigismember(&pending, signal) != 1)
        return false;
    unsigned long long of_thread = ~0ull; // if it cannot be read: better a signal too many
    if (std::FILE* const status = std::fopen("/proc/thread-self/status", "re")) {
        char line[128];
        while (std::fgets(line, sizeof line, status) &&
               std::sscanf(line, "SigPnd: %llx", &of_thread) != 1) {
        }
        std::fclose(status);
    }
    return of_thread >> (signal - 1) & 1;
}

void discard_pending(const sigset_t& pipe_signal) {
    const timespec at_once{};
    while (sigtimedwait(&pipe_signal, nullptr, &at_once) == -1 && errno == EINTR) {
    }
}

// gethostbyname shares its answer among all threads here, so its reentrant sibling is asked.
in_addr_t address_of_host(const char* name) {
    std::vector<char> room(1024);
    for (;;) {
        hostent host;
        hostent* answer = nullptr;
        int reason;
        const int failure =
            gethostbyname_r(name, &host, room.data(), room.size(), &answer, &reason);
        if (failure == ERANGE) {
            room.resize(2 * room.size());
            continue;
        }
        if (failure != 0 || !answer || !answer->h_addr_list[0])
            return 0;
        in_addr_t address;
        std::memcpy(&address, answer->h_addr_list[0], sizeof address);
        return address;
    }
}

} // namespace runtime
