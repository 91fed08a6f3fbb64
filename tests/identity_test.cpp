// The identity of an application on macOS. Stand-ins for the bundle services give the path, so that
// the system's source is tested where it is not at home, and path by path everywhere.
#include <orv/runtime/identity.h>
#include <orv/runtime/trace.h>

#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

namespace {

enum step { bundle, url, path, nothing };

std::string executable;
step fails = nothing; // the first that does
int held = 0;         // objects that have not been released

const void* copied(step what) {
    held += fails > what;
    return fails > what ? &executable : nullptr;
}

} // namespace

extern "C" {
const void* CFBundleGetMainBundle() { return fails > bundle ? &executable : nullptr; }
const void* CFBundleCopyExecutableURL(const void*) { return copied(url); }
const void* CFURLCopyFileSystemPath(const void*, long style) {
    return style == 0 ? copied(path) : nullptr; // POSIX
}
// A text that is too long fills the whole buffer, as a failed conversion may.
unsigned char CFStringGetCString(const void*, char* buffer, long size, unsigned encoding) {
    if (encoding != 0x600 || executable.find('\xC3') != executable.npos) // ASCII
        return 0;
    std::strncpy(buffer, executable.c_str(), static_cast<unsigned long>(size));
    return static_cast<long>(executable.size()) < size;
}
void CFRelease(const void*) { --held; }
}

namespace {

// Both answers are kept for the life of a process, so each row has one of its own.
TEST(Identity, DirectoryAndNameOfAPath) {
    const std::string n(300, 'n'), d(250, 'd');
    const struct {
        std::string path, directory, name, logs;
        step fails = nothing;
    } rows[] = {
        {"/bin/tool.beta.bin", "/bin", "tool.beta", "/bin/logs"},
        {"/x.y/tool", "/x.y", "tool", "/x.y/logs"},
        {"/x.y/.tool", "/x.y", "", "/x.y/logs"},
        {"/tool", "", "tool", "/logs"},
        {"tool.x", "tool.x", "tool", "tool.x/logs"},
        {"C:\\dir.d\\tool.exe", "C:\\dir.d", "tool", "C:\\dir.d/logs"},
        {"Disk:tool", "Disk", "tool", "Disk/logs"},
        {"/" + n, "", n.substr(0, 253), "/logs"},
        {"/a/" + n.substr(0, 251) + ".b", "/a", n.substr(0, 251), "/a/logs"},
        {"/" + d + "/t", "/" + d, "t", "/" + d + "/log"},
        {"/" + d + "dd/t", "/" + d + "dd", "", "/" + d + "dd/l"},
        {"/a/b", "", "", "/logs", bundle},
        {"/a/b", "", "", "/logs", url},
        {"/a/b", "", "", "/logs", path},
        {"/\xC3\xA4/b", "", "", "/logs"},
    };
    for (const auto& row : rows) {
        executable = row.path;
        fails = row.fails;
        const auto matches = [&row] {
            ORV_traceInit(nullptr, nullptr);
            executable = "/another/one"; // is not asked for again
            return ORV_getAppPath() == row.directory && ORV_getAppName() == row.name &&
                   ORV_TraceAppName.text == row.name && ORV_TracePath.text == row.logs &&
                   ORV_TracePath.length == row.logs.size() && held == 0;
        };
        EXPECT_EXIT(_exit(matches() ? 0 : 1), testing::ExitedWithCode(0), "") << row.path;
    }
}

} // namespace
