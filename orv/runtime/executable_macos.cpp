// The bundle services know the executable. Where their headers are not to be had, as when the
// library is built on another system, the few declarations that are needed stand here.
#include <orv/runtime/executable.hpp>

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

} // namespace runtime
