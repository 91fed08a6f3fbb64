// Linux. The kernel is asked where the C library's answer would not do: it names the executable,
// and it knows which threads exist when the memory behind a handle may have been freed.
#include <orv/runtime/platform.hpp>

#include <orv/runtime/descriptor.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <netdb.h>
#include <string>
#include <sys/auxv.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>
#include <vector>

namespace runtime {

namespace {

constexpr char self[] = "/proc/self/exe";

// Whether the kernel has appended its mark to the path of an executable whose file was deleted or
// replaced; the name of a file may also end like that.
bool is_marked_deleted(const std::string& path) {
    const std::string mark = " (deleted)";
    if (path.size() < mark.size() ||
        path.compare(path.size() - mark.size(), mark.size(), mark) != 0)
        return false;
    struct stat running, named;
    return stat(self, &running) != 0 || stat(path.c_str(), &named) != 0 ||
           running.st_ino != named.st_ino || running.st_dev != named.st_dev;
}

// Whether a signal is pending for the calling thread, and not just for the process.
bool is_pending_for_thread(int signal) {
    sigset_t of_either;
    sigemptyset(&of_either);
    sigpending(&of_either);
    if (sigismember(&of_either, signal) != 1)
        return false;
    unsigned long long of_thread = ~0ull; // if it cannot be read: rather a signal too many
    const int file = behind_standard(open("/proc/thread-self/status", O_RDONLY | O_CLOEXEC));
    if (std::FILE* const status = fdopen(file, "r")) {
        char line[128];
        while (std::fgets(line, sizeof line, status) &&
               std::sscanf(line, "SigPnd: %llx", &of_thread) != 1) {
        }
        std::fclose(status);
    } else if (file != -1) {
        close(file);
    }
    return (of_thread >> (signal - 1) & 1) != 0;
}

// A signal that a call may raise for the calling thread: blocked for that thread while this lives.
// `errno` is preserved.
class held_signal {
public:
    explicit held_signal(int signal) : signal_(signal) {
        sigset_t this_one;
        sigemptyset(&this_one);
        sigaddset(&this_one, signal);
        pthread_sigmask(SIG_BLOCK, &this_one, &mask_);
        // Only a signal that was blocked before can have been pending before. If it is pending for
        // the thread, the one that our call raises merges with it; if it is pending for the
        // process, ours is a second one.
        was_pending_ = sigismember(&mask_, signal) == 1 && is_pending_for_thread(signal);
    }
    held_signal(const held_signal&) = delete;
    held_signal& operator=(const held_signal&) = delete;
    ~held_signal() { pthread_sigmask(SIG_SETMASK, &mask_, nullptr); }

    // Consumes the signal that our call has raised: the thread's is taken before the process's.
    void discard() {
        const int reason = errno;
        const timespec at_once{};
        sigset_t this_one;
        sigemptyset(&this_one);
        sigaddset(&this_one, signal_);
        while (!was_pending_ && sigtimedwait(&this_one, nullptr, &at_once) == -1 &&
               errno == EINTR) {
        }
        errno = reason;
    }

private:
    int signal_;
    bool was_pending_;
    sigset_t mask_;
};

} // namespace

// Given a null pointer, `times` does not add up the processor times of all threads.
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
            return; // not ASCII: no path
    }
    path.resize(std::min(path.size(), sizeof text - 1));
    std::memcpy(text, path.c_str(), path.size() + 1);
}

int current_thread_id() { return static_cast<int>(syscall(SYS_gettid)); }

void nudge(pthread_t, int id) {
    if (id != 0)
        syscall(SYS_tgkill, getpid(), id, SIGCONT);
}

int tcp_socket() {
    return behind_standard(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
}

int send_without_signal(int socket, const char* bytes, int count) {
    held_signal pipe(SIGPIPE);
    const auto sent = static_cast<int>(::send(socket, bytes, static_cast<size_t>(count), 0));
    if (sent == -1 && errno == EPIPE)
        pipe.discard();
    return sent;
}

unsigned long write_without_signal(std::FILE* to, const char* bytes, unsigned long count) {
    held_signal limit(SIGXFSZ);
    errno = 0;
    const unsigned long written = std::fwrite(bytes, 1, count, to);
    if (written < count && errno == EFBIG)
        limit.discard();
    return written;
}

timespec modification_time(const struct stat& of) { return of.st_mtim; }
timespec status_time(const struct stat& of) { return of.st_ctim; }

// gethostbyname shares its answer among all threads here, so its reentrant variant is called.
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

#ifdef __aarch64__
bool has_aes_instructions() { return (getauxval(AT_HWCAP) & HWCAP_AES) != 0; }
#endif

} // namespace runtime
