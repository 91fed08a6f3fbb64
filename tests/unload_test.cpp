// Loading and unloading the library at run time. This program is not linked with it.
#include <orv/orv.h>

#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct library {
    void* handle = dlopen(ORV_LIBRARY, RTLD_NOW | RTLD_LOCAL);

    template <class Function>
    Function* function(Function*, const char* name) const {
        return reinterpret_cast<Function*>(dlsym(handle, name));
    }
    int open(const std::string& path) const {
        const char key[] = "0123456789abcdef0123456789abcdef";
        return function(&ORV_open, "ORV_open")(path.c_str(), key);
    }
};

TEST(Unload, TracesAndIsGone) {
    take_traces();
    const library orv;
    ASSERT_NE(orv.handle, nullptr) << dlerror();
    EXPECT_EQ(take_traces(), (std::vector<traced>{{0x1004, "Load library"}}));
    // The real executable: this program.
    EXPECT_STREQ(orv.function(&ORV_getAppName, "ORV_getAppName")(), "unload_test");
    EXPECT_EQ(orv.function(&ORV_getAppPath, "ORV_getAppPath")(),
              std::filesystem::read_symlink("/proc/self/exe").parent_path());
    EXPECT_EQ(dlclose(orv.handle), 0);
    EXPECT_EQ(take_traces(), (std::vector<traced>{{0x1004, "Unload library"}}));
    EXPECT_EQ(dlopen(ORV_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

// The worker runs, a value is unsaved, and a child made by fork has neither the one nor a claim to
// the other.
TEST(Unload, ClosesAStoreThatTheHostForgotButNotThatOfAParent) {
    const temporary_directory directory;
    const library orv;
    ASSERT_EQ(orv.open(directory.file()), ORV_OPEN_NEW);
    orv.function(&ORVSC_SetInt, "ORVSC_SetInt")("a", "b", 1);
    usleep(50000); // the worker is in its pause
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        std::exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file(directory.file()), "");
    take_traces();
    EXPECT_EQ(dlclose(orv.handle), 0);
    EXPECT_EQ(take_trace_texts(),
              (std::vector<std::string>{"openWrite " + directory.file(), "openWrite again",
                                        "openWrite::write", "openWrite::write OK",
                                        "openWrite::write error", "Unload library"}));
    const library again;
    EXPECT_EQ(again.open(directory.file()), ORV_OPEN_LOADED);
    EXPECT_EQ(again.function(&ORVSC_GetInt, "ORVSC_GetInt")("a", "b", 0), 1);
    dlclose(again.handle);
}

} // namespace
