// macOS. The bundle services supply the path of the executable. Where their headers are missing, as
// when the library is built on another system, the few declarations needed are given here.
#include <orv/runtime/platform.hpp>

#include <orv/runtime/descriptor.hpp>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/times.h>

#if __has_include(<CoreFoundation/CoreFoundation.h>)
#include <CoreFoundation/CoreFoundation.h>
#else
extern "C" {
typedef const void* CFTypeRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;
typedef unsigned char Boolean;
typedef long CFIndex; // as wide as a pointer
typedef CFIndex CFURLPathStyle;
typedef unsigned int CFStringEncoding;

enum : CFURLPathStyle { kCFURLPOSIXPathStyle = 0 };
enum : CFStringEncoding { kCFStringEncodingASCII = 0x0600 };

CFBundleRef CFBundleGetMainBundle(void);
CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CFStringRef CFURLCopyFileSystemPath(CFURLRef url, CFURLPathStyle style);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);
void CFRelease(CFTypeRef object);
}
#endif

namespace runtime {

long ticks() {
    tms unused;
    return static_cast<long>(times(&unused));
}

void executable_path(char (&text)[256]) {
    text[0] = 0;
    CFBundleRef bundle = CFBundleGetMainBundle(); // not ours to release
    if (!bundle)
        return;
    CFURLRef url = CFBundleCopyExecutableURL(bundle);
    if (!url)
        return;
    if (CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)) {
        // To ASCII on purpose: nothing is kept of a path with other characters, whatever the failed
        // conversion has left. One that is merely too long fills the text and is cut.
        constexpr CFIndex room = 255;
        if (!CFStringGetCString(path, text, room, kCFStringEncodingASCII) &&
            strnlen(text, room) < room - 1)
            text[0] = 0;
        CFRelease(path);
    }
    CFRelease(url);
}

// The thread library checks a handle against the existing threads and needs nothing else.
int current_thread_id() { return 0; }

void nudge(pthread_t thread, int) { pthread_kill(thread, SIGCONT); }

// The system cannot create a socket that is close-on-exec from the start.
int tcp_socket() {
    const int made = behind_standard(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const int yes = 1;
    fcntl(made, F_SETFD, FD_CLOEXEC);
    setsockopt(made, SOL_SOCKET, SO_NOSIGPIPE, &yes, sizeof yes);
    return made;
}

// SIGPIPE would be sent to the process, whose other threads have masks of their own; but the socket
// does not raise it.
int send_without_signal(int socket, const char* bytes, int count) {
    return static_cast<int>(::send(socket, bytes, static_cast<size_t>(count), 0));
}

unsigned long write_without_signal(std::FILE* to, const char* bytes, unsigned long count) {
    return std::fwrite(bytes, 1, count, to);
}

timespec modification_time(const struct stat& of) { return of.st_mtimespec; }
timespec status_time(const struct stat& of) { return of.st_ctimespec; }

// The answer of gethostbyname belongs to the calling thread here.
in_addr_t address_of_host(const char* name) {
    const hostent* const answer = gethostbyname(name);
    if (!answer || !answer->h_addr_list[0])
        return 0;
    in_addr_t address;
    std::memcpy(&address, answer->h_addr_list[0], sizeof address);
    return address;
}

#ifdef __aarch64__
bool has_aes_instructions() { return true; } // every arm64 Mac has them
#endif

} // namespace runtime
