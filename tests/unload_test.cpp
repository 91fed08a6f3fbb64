// Loading and unloading the library at run time. This program is not linked with it.
#include <orv/orv.h>

#include "support/allocations.hpp"
#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <dlfcn.h>
#include <unistd.h>

namespace {

#define CALL(library, name) reinterpret_cast<decltype(&name)>(dlsym(library, #name))

const char key[] = "0123456789abcdef0123456789abcdef";

TEST(Unload, FreesWhatRequestsHaveKept) {
    const long before = support::live_blocks();
    void* const plugin = dlopen(ORV_PLUGIN, RTLD_NOW | RTLD_LOCAL); // needs the library
    ASSERT_NE(plugin, nullptr) << dlerror();
    reinterpret_cast<void (*)()>(dlsym(plugin, "send_request"))();
    EXPECT_GT(support::live_blocks(), before);
    EXPECT_EQ(dlclose(plugin), 0);
    EXPECT_EQ(support::live_blocks(), before);
}

ORV_kernel* volatile left_behind; // where the leak checker finds it

// The worker runs, a value is unsaved, and a child made by fork has neither the one nor a claim to
// the other. The library object stays, for threads that may still use it.
TEST(Unload, ClosesAStoreThatTheHostForgotButNotThatOfAParent) {
    const temporary_directory directory;
    const std::string path = directory.file();
    take_traces();
    void* const orv = dlopen(ORV_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(orv, nullptr) << dlerror();
    EXPECT_EQ(take_traces(), (std::vector<traced>{{0x1004, "Load library"}}));
    // The real executable: this program. A path that is not ASCII counts as none.
    const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const bool is_ascii = std::all_of(folder.begin(), folder.end(), [](char c) { return c > 0; });
    EXPECT_STREQ(CALL(orv, ORV_getAppName)(), is_ascii ? "unload_test" : "");
    EXPECT_EQ(CALL(orv, ORV_getAppPath)(), is_ascii ? folder : "");
    ASSERT_EQ(CALL(orv, ORV_open)(path.c_str(), key), ORV_OPEN_NEW);
    CALL(orv, ORVSC_SetInt)("a", "b", 1);
    usleep(50000); // the worker is in its pause
    EXPECT_EXIT((alarm(60), std::exit(0)), testing::ExitedWithCode(0), "");
    EXPECT_EQ(read_file(path), "");
    take_traces();
    left_behind = *CALL(orv, g_Kernel);
    EXPECT_EQ(dlclose(orv), 0);
    const std::vector<traced> expected{{0x1004, "openWrite " + path},
                                       {0x1004, "openWrite again"},
                                       {0x1004, "openWrite::write"},
                                       {0x1004, "openWrite::write OK"},
                                       {0x1004, "Unload library"}};
    EXPECT_EQ(take_traces(), expected);
    EXPECT_EQ(dlopen(ORV_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr); // it is gone
}

} // namespace
