// The worker thread and the lock, traces, and the application's identity.
#include <orv/runtime/critical.hpp>
#include <orv/runtime/identity.h>
#include <orv/runtime/thread.hpp>
#include <orv/runtime/trace.h>

#include "support/trace_recorder.hpp"
#include <orv/runtime/executable.hpp>
#include <orv/runtime/nudge.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstring>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {

std::string executable; // the path the identity functions are given here

class worker : public ORV::thread {
public:
    explicit worker(std::vector<int> returned = {}) : returned_(std::move(returned)) {}
    ~worker() override { stop(); }

    void onInit() override { calls.push_back("init"); }
    int onRunStep(int step) override {
        calls.push_back(std::to_string(step));
        if (stops) {
            EXPECT_TRUE(stop()); // only asks
            EXPECT_TRUE(started());
        }
        return returned_.at(calls.size() - 2);
    }
    void onStop() override { calls.push_back(isRunning ? "stop, still running" : "stop"); }

    bool started() const { return handle != pthread_t{}; }
    void wait_for_the_end() const {
        while (isRunning)
            std::this_thread::yield();
    }

    std::vector<std::string> calls;
    bool stops = false;

private:
    std::vector<int> returned_;
};

TEST(Thread, StepsReceiveWhatTheOneBeforeReturned) {
    const struct {
        std::vector<int> returned;
        std::vector<std::string> calls;
        bool stops;
    } rows[] = {
        {{0, 1, 2, -5}, {"init", "0", "0", "1", "2", "stop"}, false},
        {{INT_MAX, INT_MIN}, {"init", "0", std::to_string(INT_MAX), "stop"}, false},
        {{3, 3}, {"init", "0", "stop"}, true},
    };
    for (const auto& row : rows) {
        worker thread(row.returned);
        thread.stops = row.stops;
        EXPECT_TRUE(thread.stop()); // there is none
        thread.start();
        thread.wait_for_the_end();
        EXPECT_TRUE(thread.started()); // till it is joined
        EXPECT_TRUE(thread.stop());
        EXPECT_FALSE(thread.started());
        EXPECT_EQ(thread.calls, row.calls);
    }
}

TEST(Thread, ExitValues) {
    struct loop : ORV::thread {
        int onRun() override { return result; }
        unsigned long run(bool started) {
            isRunning = started;
            return reinterpret_cast<unsigned long>(thread_func(this));
        }
        int result = 0;
    } thread;
    for (int result : {0, 7, -1, INT_MIN}) {
        thread.result = result;
        EXPECT_EQ(thread.run(true), static_cast<unsigned>(result)); // 32 bits
        EXPECT_EQ(thread.run(false), 0xFFFFFFFF);
    }
    EXPECT_EQ(ORV::thread::thread_func(nullptr), reinterpret_cast<void*>(0xFFFFFFFF));
}

TEST(Thread, StopWaitsForTheStepAndStartStopsTheOneBefore) {
    struct slow : worker {
        int onRunStep(int) override {
            ++steps;
            wait_for_the_end();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            calls.push_back(pthread_equal(pthread_self(), main_thread) ? "here" : "there");
            return 0;
        }
        std::atomic<int> steps{0};
        pthread_t main_thread = pthread_self();
    } thread;
    for (int started = 1; started <= 2; ++started) {
        thread.start();
        while (thread.steps < started)
            std::this_thread::yield();
    }
    EXPECT_TRUE(thread.stop());
    EXPECT_EQ(thread.calls,
              (std::vector<std::string>{"init", "there", "stop", "init", "there", "stop"}));
    ORV::thread base;
    base.start(); // stopped by its destructor
}

// The signal comes to the thread that is named, and it is the one that continues.
TEST(Thread, TheNudge) {
    sigset_t nudge, before;
    sigemptyset(&nudge);
    sigaddset(&nudge, SIGCONT);
    pthread_sigmask(SIG_BLOCK, &nudge, &before);
    runtime::nudge(pthread_self(), runtime::current_thread_id());
    const timespec soon = {5, 0};
    EXPECT_EQ(sigtimedwait(&nudge, nullptr, &soon), SIGCONT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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
    ORV_trace6("Try to connect\n");
    ORV_traceFree();
    ORV_trace4("%%");
    EXPECT_EQ(
        take_traces(),
        (std::vector<traced>{
            {5122, "ff"}, {4100, "openWrite path"}, {4102, "Try to connect\n"}, {4100, "%"}}));
    EXPECT_EQ(PF_TraceInit, 1);
    EXPECT_STREQ(ORV_TraceAppName.text, "x"); // traceFree leaves it all
}

std::string text_of(const ORV_text& text) {
    EXPECT_EQ(text.length, std::strlen(text.text));
    return text.text;
}

TEST(Trace, GivenNamesAreCut) {
    for (unsigned long length : {0ul, 254ul, 255ul, 256ul}) {
        ORV_traceInit(std::string(length, 'n').c_str(), std::string(length, 'p').c_str());
        EXPECT_EQ(text_of(ORV_TraceAppName), std::string(std::min(length, 255ul), 'n'));
        EXPECT_EQ(text_of(ORV_TracePath), std::string(std::min(length, 255ul), 'p'));
    }
    ORV_traceInit(ORV_TraceAppName.text + 55, ORV_TracePath.text + 155); // their own text
    EXPECT_EQ(text_of(ORV_TraceAppName), std::string(200, 'n'));
    EXPECT_EQ(text_of(ORV_TracePath), std::string(100, 'p'));
}

// Both answers are kept for the life of a process, so each row has one of its own.
TEST(Identity, DirectoryAndNameOfAPath) {
    const std::string n(300, 'n'), d(250, 'd');
    const struct {
        std::string path, directory, name, logs;
    } rows[] = {
        {"/bin/tool.beta.bin", "/bin", "tool.beta", "/bin/logs"},
        {"/x.y/tool", "/x.y", "tool", "/x.y/logs"},
        {"/x.y/.tool", "/x.y", "", "/x.y/logs"},
        {"/tool", "", "tool", "/logs"},
        {"tool.x", "tool.x", "tool", "tool.x/logs"},
        {"", "", "", "/logs"},
        {"C:\\dir.d\\tool.exe", "C:\\dir.d", "tool", "C:\\dir.d/logs"},
        {"Disk:tool", "Disk", "tool", "Disk/logs"},
        {"/" + n, "", n.substr(0, 253), "/logs"},
        {"/a/" + n.substr(0, 249) + ".b", "/a", n.substr(0, 249), "/a/logs"},
        {"/a/" + n.substr(0, 251) + ".b", "/a", n.substr(0, 251), "/a/logs"},
        {"/" + d + "/t", "/" + d, "t", "/" + d + "/log"},
        {"/" + d + "dd/t", "/" + d + "dd", "", "/" + d + "dd/l"},
    };
    for (const auto& row : rows) {
        executable = row.path;
        const auto matches = [&row] {
            ORV_traceInit(nullptr, nullptr);
            executable = "/another/one"; // is not asked for again
            return ORV_getAppPath() == row.directory && ORV_getAppName() == row.name &&
                   text_of(ORV_TraceAppName) == row.name && text_of(ORV_TracePath) == row.logs;
        };
        EXPECT_EXIT(_exit(matches() ? 0 : 1), testing::ExitedWithCode(0), "") << row.path;
    }
}

} // namespace

// In place of the operating system's answer.
void runtime::executable_path(char (&text)[256]) {
    executable.copy(text, sizeof text - 1);
    text[std::min<unsigned long>(executable.size(), sizeof text - 1)] = 0;
}
