// The worker thread, traces, and the identity of a running executable.
#include <orv/runtime/identity.h>
#include <orv/runtime/thread.hpp>
#include <orv/runtime/trace.h>

#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <thread>
#include <unistd.h>

namespace {

// What the hooks are called with, as a text.
struct worker : ORV::thread {
    ~worker() override { stop(); }
    void onInit() override { calls += "init"; }
    int onRunStep(int step) override {
        calls += " " + std::to_string(step);
        return returned.at(count++);
    }
    void onStop() override { calls += isRunning ? " still running " : " stop "; }
    void wait_for_the_end() const {
        while (isRunning)
            std::this_thread::yield();
    }

    std::vector<int> returned{0, 1, 2, INT_MAX, INT_MIN};
    std::atomic<unsigned> count{0};
    std::string calls;
};

TEST(Thread, StepsReceiveWhatTheOneBeforeReturned) {
    worker thread;
    EXPECT_TRUE(thread.stop()); // there is none
    thread.start();
    thread.wait_for_the_end();
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls, "init 0 0 1 2 2147483647 stop ");
}

TEST(Thread, ExitValuesHave32Bits) {
    struct : ORV::thread {
        int onRun() override { return -7; }
        void* run(bool started) {
            isRunning = started;
            return thread_func(this);
        }
    } thread;
    EXPECT_EQ(thread.run(true), reinterpret_cast<void*>(0xFFFFFFF9));
    EXPECT_EQ(thread.run(false), reinterpret_cast<void*>(0xFFFFFFFF));
    EXPECT_EQ(thread.thread_func(nullptr), reinterpret_cast<void*>(0xFFFFFFFF));
}

TEST(Thread, StopWaitsForTheStepAndStartStopsTheOneBefore) {
    struct slow : worker {
        int onRunStep(int) override {
            if (++count == 3) {
                EXPECT_TRUE(stop()); // only asks
            }
            wait_for_the_end();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            calls += pthread_equal(pthread_self(), starter) ? " here" : " there";
            return 0;
        }
        pthread_t starter = pthread_self();
    } thread;
    for (unsigned started = 1; started <= 3; ++started) {
        thread.start();
        while (thread.count < started)
            std::this_thread::yield();
    }
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls, "init there stop init there stop init there stop ");
    ORV::thread base;
    base.start(); // stopped by its destructor
}

TEST(Trace, CodesTextsAndOrder) {
    take_traces();
    ORV_trace2("%x", 255u);
    ORV_trace4("openWrite %s", "path");
    ORV_traceInit("x", "");
    ORV_traceFree();
    ORV_trace6("Try to connect\n");
    EXPECT_EQ(
        take_traces(),
        (std::vector<traced>{{5122, "ff"}, {4100, "openWrite path"}, {4102, "Try to connect\n"}}));
    EXPECT_EQ(PF_TraceInit, 1);
    EXPECT_STREQ(ORV_TraceAppName.text, "x"); // ORV_traceFree leaves it all
}

TEST(Trace, GivenNamesAreCut) {
    for (unsigned long length : {0ul, 254ul, 255ul, 256ul}) {
        ORV_traceInit(std::string(length, 'n').c_str(), std::string(length, 'p').c_str());
        EXPECT_EQ(ORV_TraceAppName.length, std::min(length, 255ul));
        EXPECT_EQ(ORV_TracePath.text, std::string(std::min(length, 255ul), 'p'));
    }
    ORV_traceInit("", ORV_TracePath.text + 155); // its own text
    EXPECT_EQ(ORV_TracePath.text, std::string(100, 'p'));
}

#ifdef __linux__
// The kernel marks the path of an executable that is gone; a file may also be called so.
TEST(Identity, OfAnExecutableThatIsGone) {
    if (const char* const expected = std::getenv("ORV_TEST_NAME")) { // this is the copy
        std::filesystem::remove(std::getenv("ORV_TEST_REMOVE"));
        _exit(std::strcmp(ORV_getAppName(), expected));
    }
    const struct {
        const char *file, *name;
        bool removed;
    } rows[] = {
        {"tool.x", "tool", false},
        {"tool.x", "tool", true},
        {"tool (deleted)", "tool (deleted)", false},
        {"tool (deleted)", "tool (deleted)", true},
        {"t\xC3\xB6\xC3\xB6l", "", false}, // no ASCII: no name
    };
    for (const auto& row : rows) {
        const temporary_directory folder;
        const std::string path = folder.file(row.file);
        std::filesystem::copy_file("/proc/self/exe", path);
        const auto run_copy = [&] {
            setenv("ORV_TEST_NAME", row.name, 1);
            setenv("ORV_TEST_REMOVE", row.removed ? path.c_str() : "", 1);
            execl(path.c_str(), "copy", "--gtest_filter=*.OfAnExecutableThatIsGone", nullptr);
        };
        EXPECT_EXIT(run_copy(), testing::ExitedWithCode(0), "") << row.file << row.removed;
    }
}
#endif

} // namespace
