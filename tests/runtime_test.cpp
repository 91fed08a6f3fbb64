// The worker thread, traces, and the identity of a running executable.
#include <orv/runtime/identity.h>
#include <orv/runtime/thread.hpp>
#include <orv/runtime/trace.h>

#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <thread>
#include <unistd.h>

namespace {

// What the hooks are called with, as a text.
struct worker : ORV::thread {
    ~worker() override { stop(); }
    using ORV::thread::isRunning;
    void onInit() override { calls += "init"; }
    int onRun() override { return ORV::thread::onRun() - 7; }
    int onRunStep(int step) override { return run_step(step); }
    void onStop() override { calls += isRunning ? " still running " : " stop "; }
    void wait_for_the_end() const {
        while (isRunning)
            std::this_thread::yield();
    }

    std::function<int(int)> run_step;
    std::string calls;
};

TEST(Thread, StepsReceiveWhatTheOneBeforeReturned) {
    worker thread;
    thread.run_step = [&](int step) {
        thread.calls += " " + std::to_string(step);
        return step < 2 ? step + 1 : step == 2 ? INT_MAX : INT_MIN;
    };
    EXPECT_TRUE(thread.stop()); // there is none
    thread.start();
    thread.wait_for_the_end();
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls, "init 0 1 2 2147483647 stop ");
    // Exit values have 32 bits. One that is not to run has -1.
    EXPECT_EQ(thread.thread_func(&thread), reinterpret_cast<void*>(0xFFFFFFFF));
    EXPECT_EQ(thread.thread_func(nullptr), reinterpret_cast<void*>(0xFFFFFFFF));
    thread.isRunning = true;
    EXPECT_EQ(thread.thread_func(&thread), reinterpret_cast<void*>(0xFFFFFFF9));
}

TEST(Thread, StopWaitsForTheStepAndStartStopsTheOneBefore) {
    std::atomic<int> begun{0};
    worker thread;
    thread.run_step = [&](int) {
        if (++begun == 3) {
            EXPECT_TRUE(thread.stop()); // only asks
        }
        thread.wait_for_the_end();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        thread.calls += " step";
        return 0;
    };
    for (int started = 1; started <= 3; ++started) {
        thread.start();
        while (begun < started)
            std::this_thread::yield();
    }
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls, "init step stop init step stop init step stop ");
    ORV::thread base;
    base.start(); // stopped by its destructor
}

TEST(Trace, CodesTextsAndNamesThatAreCut) {
    take_traces();
    ORV_trace2("%x", 255u);
    ORV_trace4("openWrite %s", "path");
    ORV_traceInit("x", "");
    ORV_traceFree();
    ORV_trace6("Try to connect\n");
    const std::vector<traced> expected{
        {5122, "ff"}, {4100, "openWrite path"}, {4102, "Try to connect\n"}};
    EXPECT_EQ(take_traces(), expected);
    EXPECT_EQ(PF_TraceInit, 1);
    EXPECT_STREQ(ORV_TraceAppName.text, "x"); // ORV_traceFree leaves it all
    ORV_traceInit(std::string(256, 'n').c_str(), std::string(255, 'p').c_str());
    EXPECT_EQ(ORV_TraceAppName.text, std::string(255, 'n'));
    EXPECT_EQ(ORV_TracePath.text, std::string(255, 'p'));
    ORV_traceInit("", ORV_TracePath.text + 155); // its own text
    EXPECT_EQ(ORV_TracePath.text, std::string(100, 'p'));
}

// The kernel marks the path of an executable that is gone; a file may also be called so.
TEST(Identity, OfAnExecutableThatIsGone) {
    if (const char* const expected = std::getenv("ORV_TEST_NAME")) { // this is the copy
        std::filesystem::remove(std::getenv("ORV_TEST_REMOVE"));
        _exit(std::strcmp(ORV_getAppName(), expected));
    }
    const struct {
        std::string file, name;
        bool removed;
    } rows[] = {
        {std::string(255, 'x'), std::string(255, 'x'), false}, // 254 bytes of the path count
        {"tool.x", "tool", true},
        {"tool (deleted)", "tool (deleted)", false},
        {"tool (deleted)", "tool (deleted)", true},
        {"t\xC3\xB6\xC3\xB6l", "", false}, // no ASCII: no name
    };
    for (const auto& row : rows) {
        const temporary_directory folder;
        const std::string path = folder.file(row.file);
        std::filesystem::copy_file("/proc/self/exe", path);
        const std::string name = row.name.substr(0, 254 - folder.file("").size());
        const std::string copy = "ORV_TEST_NAME='" + name + "' ORV_TEST_REMOVE='" +
                                 (row.removed ? path : "") + "' '" + path + "' '";
        EXPECT_EQ(std::system((copy + "--gtest_filter=*.OfAnExecutableThatIsGone'").c_str()), 0)
            << row.file << row.removed;
    }
}

} // namespace
