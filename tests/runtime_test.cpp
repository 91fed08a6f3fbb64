// The worker thread and the lock, traces, and the identity of a running executable.
#include <orv/runtime/critical.hpp>
#include <orv/runtime/identity.h>
#include <orv/runtime/thread.hpp>
#include <orv/runtime/trace.h>

#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

struct worker : ORV::thread {
    explicit worker(std::vector<int> results = {}) : returned(std::move(results)) {}
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
    bool has_handle() const { return handle != pthread_t{}; }
    unsigned long run(bool started) {
        isRunning = started;
        return reinterpret_cast<unsigned long>(thread_func(this));
    }

    std::vector<int> returned;
    std::atomic<unsigned> count{0};
    std::string calls;
};

TEST(Thread, StepsReceiveWhatTheOneBeforeReturned) {
    const std::pair<std::vector<int>, std::string> rows[] = {
        {{0, 1, 2, -5}, "init 0 0 1 2 stop "},
        {{INT_MAX, INT_MIN}, "init 0 2147483647 stop "},
    };
    for (const auto& [returned, calls] : rows) {
        worker thread(returned);
        EXPECT_TRUE(thread.stop()); // there is none
        thread.start();
        thread.wait_for_the_end();
        EXPECT_TRUE(thread.has_handle()); // till it is joined
        EXPECT_TRUE(thread.stop());
        EXPECT_FALSE(thread.has_handle());
        EXPECT_EQ(thread.calls, calls);
    }
}

TEST(Thread, ExitValuesHave32Bits) {
    struct loop : worker {
        int onRun() override { return result; }
        int result = 0;
    } thread;
    for (int result : {0, 7, -1, INT_MIN}) {
        thread.result = result;
        EXPECT_EQ(thread.run(true), static_cast<unsigned>(result));
        EXPECT_EQ(thread.run(false), 0xFFFFFFFF);
    }
    EXPECT_EQ(ORV::thread::thread_func(nullptr), reinterpret_cast<void*>(0xFFFFFFFF));
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
    EXPECT_TRUE(thread.has_handle());
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls, "init there stop init there stop init there stop ");
    ORV::thread base;
    base.start(); // stopped by its destructor
}

TEST(Critical, ExcludesOthers) {
    ORV::critical lock;
    std::atomic<bool> entered{false};
    lock.lock();
    std::thread other([&] {
        const std::lock_guard<ORV::critical> guard(lock);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered);
    lock.unlock();
    other.join();
    EXPECT_TRUE(entered);
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
        EXPECT_EQ(ORV_TraceAppName.text, std::string(std::min(length, 255ul), 'n'));
        EXPECT_EQ(ORV_TracePath.text, std::string(std::min(length, 255ul), 'p'));
        EXPECT_EQ(ORV_TracePath.length, std::min(length, 255ul));
    }
    ORV_traceInit(ORV_TraceAppName.text + 55, ORV_TracePath.text + 155); // their own text
    EXPECT_EQ(ORV_TraceAppName.text, std::string(200, 'n'));
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
