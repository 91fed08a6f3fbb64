// What a host must not notice: its descriptors, signals, threads, working directory and time, and
// how it ends. Each row is a host of its own, a child process.
#include <orv/orv.hpp>

#include "support/scripted_server.hpp"
#include "support/settings_file.hpp"
#include "support/temporary_directory.hpp"
#include "support/time_of.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using support::peer;
using support::scripted_server;

struct host {
    int open() const { return ORV_open(path.c_str(), settings_key); }

    const temporary_directory directory;
    const std::string path = directory.file();
};

std::atomic<pthread_t> handled_by;

// The host has blocked the signal in its own thread.
bool handlers_stay_on_the_hosts_threads(host& of) {
    std::signal(SIGUSR1, [](int) { handled_by = pthread_self(); });
    of.open();
    sigset_t user;
    sigemptyset(&user);
    sigaddset(&user, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &user, nullptr);
    kill(getpid(), SIGUSR1);
    usleep(20000);
    const bool is_handled = handled_by != 0;
    pthread_sigmask(SIG_UNBLOCK, &user, nullptr);
    return !is_handled && handled_by == pthread_self();
}

// The host's timer rings each millisecond, while a file is being saved for a first start and then
// while the store saves.
bool a_timer_shortens_no_pause(host& of) {
    std::signal(SIGALRM, [](int) {});
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    write_file(of.path, "");
    std::thread other([&] {
        usleep(100000);
        write_file(of.path, settings_file("ORV<root><~ORV/></root>"));
    });
    const int found = of.open();
    other.join();
    ORVSC_SetInt("a", "b", 1);
    return found == ORV_OPEN_LOADED && time_of([] { ORV_save(); }) >= 100;
}

// The host has closed its standard streams, and goes on printing lines.
bool lines_of_the_host_stay_out_of_the_file(host& of) {
    of.open();
    for (int standard : {0, 1, 2})
        close(standard);
    std::atomic<bool> is_over{false};
    std::thread talking([&] {
        while (!is_over)
            for (int standard : {0, 1, 2})
                if (write(standard, "a line\n", 7) == 7)
                    usleep(100);
    });
    ORVSC_SetInt("a", "b", 1);
    const bool is_saved = ORV_save() == ORV_SAVE_OK;
    is_over = true;
    talking.join();
    return is_saved && ORV_close() == ORV_SAVE_OK && of.open() == ORV_OPEN_LOADED;
}

bool the_file_stays_where_it_was(host& of) {
    if (chdir(of.directory.file("").c_str()) != 0)
        return false;
    ORV_open("file", settings_key);
    ORVSC_SetInt("a", "b", 1);
    return chdir("/") == 0 && ORV_close() == ORV_SAVE_OK && !read_file(of.path).empty();
}

bool a_large_foreign_file_costs_nothing(host& of) {
    write_file(of.path, "something else");
    std::filesystem::resize_file(of.path, 1ul << 30);
    int found = 0;
    bool is_quick = false;
    for (int tries = 0; tries < 5 && !is_quick; ++tries) { // the machine may be busy
        const double opening = time_of([&] { found = of.open(); });
        usleep(1200000); // the worker has looked twice
        is_quick = time_of([] { ORV_close(); }) < 100 && opening < 100;
    }
    return found == ORV_OPEN_UNREADABLE && is_quick && std::clock() < CLOCKS_PER_SEC / 5;
}

bool an_object_used_again_saves_what_was_set_again(host& of) {
    ORV::kernel kernel;
    kernel.open(of.path.c_str(), settings_key);
    kernel.setInt("a", "b", 1);
    kernel.close();
    write_file(of.path, "something else");
    return !kernel.open(of.path.c_str(), settings_key) && kernel.close() == ORV_SAVE_OK &&
           read_file(of.path) == "something else";
}

// Threads set and save on while the process ends; the file has the values of one moment.
bool ending_beside_threads(host& of) {
    int status = 0;
    for (int round = 0; round < 6 && status == 0; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            if (of.open() == ORV_OPEN_UNREADABLE)
                _exit(1);
            for (const char* name : {"a", "b", "c", "d"}) {
                std::thread([name] {
                    for (int n = 1;; ++n) {
                        ORVSC_SetText("threads", name, std::string(n % 999, 'x').c_str());
                        if (n % 1000 == 0)
                            ORV_save();
                    }
                }).detach();
            }
            usleep(static_cast<useconds_t>(30000 * round));
            std::exit(0);
        }
        waitpid(child, &status, 0);
    }
    return status == 0 && of.open() == ORV_OPEN_LOADED;
}

bool a_negative_length_collects_nothing(host&) {
    const std::string bytes(1 << 20, 'x');
    rusage before;
    getrusage(RUSAGE_SELF, &before);
    scripted_server server({[&](peer& client) {
        client.read_request();
        client.send("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n");
        while (client.send(bytes)) {
        }
    }});
    xml::root header, body("a"), reply_header, reply;
    str_t error;
    ORV::http::request(server.url().c_str(), header, body, reply_header, reply, error, 50);
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    return error == "Can't send data to server 127.0.0.1" &&
           used.ru_maxrss < before.ru_maxrss + 32000;
}

TEST(Guest, LeavesItsHostAlone) {
    const struct {
        const char* name;
        bool (*is_well)(host&);
    } rows[] = {
        {"handlers stay on the host's threads", handlers_stay_on_the_hosts_threads},
        {"a timer shortens no pause", a_timer_shortens_no_pause},
        {"lines of the host stay out of the file", lines_of_the_host_stay_out_of_the_file},
        {"the file stays where it was", the_file_stays_where_it_was},
        {"a large foreign file costs nothing", a_large_foreign_file_costs_nothing},
        {"an object used again", an_object_used_again_saves_what_was_set_again},
        {"ending beside threads", ending_beside_threads},
        {"a negative length collects nothing", a_negative_length_collects_nothing},
    };
    for (const auto& row : rows) {
        host one;
        EXPECT_EQ(one.open(), ORV_OPEN_NEW);
        EXPECT_EQ(ORV_close(), ORV_SAVE_OK); // its child may have a store
        EXPECT_EXIT(
            {
                alarm(60);
                _exit(ORV_close() == ORV_SAVE_OK && row.is_well(one) ? 0 : 1);
            },
            testing::ExitedWithCode(0), "")
            << row.name;
    }
}

} // namespace
