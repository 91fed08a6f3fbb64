// macOS. The bundle services know the executable. Where their headers are not to be had, as when
// the library is built on another system, the few declarations that are needed stand here.
#include <orv/runtime/platform.hpp>

#include <csignal>
#include <cstring>
#include <netdb.h>
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
        // To ASCII on purpose: a path with other characters fails to convert.
        CFStringGetCString(path, text, 255, kCFStringEncodingASCII);
        CFRelease(path);
    }
    CFRelease(url);
}

// The thread library checks a handle against the threads there are, and needs nothing else.
int current_thread_id() { return 0; }

void nudge(pthread_t thread, int) { pthread_kill(thread, SIGCONT); }

// The system does not tell whether a signal is pending for the thread or for the process.
bool is_pending_for_thread(int signal) {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, signal) == 1;
}

// There is no sigtimedwait here; sigwait returns at once for a signal that is known to be pending.
void discard_pending(const sigset_t& pipe_signal) {
    int taken;
    if (is_pending_for_thread(SIGPIPE))
        sigwait(&pipe_signal, &taken);
}

// The answer of gethostbyname belongs to the calling thread here.
in_addr_t address_of_host(const char* name) {
    const hostent* const answer = gethostbyname(name);
    if (!answer || !answer->h_addr_list[0])
        return 0;
    in_addr_t address;
    std::memcpy(&address, answer->h_addr_list[0], sizeof address);
    return address;
}

} // namespace runtime
