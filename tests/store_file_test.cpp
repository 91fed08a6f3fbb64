// The settings file: saving, loading, opening, and files that are not as they should be.
#include <orv/orv.hpp>

#include "support/settings_file.hpp"
#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using lines = std::vector<std::string>;

struct File : testing::Test {
    File() {
        config.file = path.c_str();
        config.cipherKey = settings_key;
    }
    ~File() override {
        ORV_close();
        config.changed = false; // not to be saved
    }
    int open() const { return ORV_open(path.c_str(), settings_key); }

    const temporary_directory directory;
    const std::string path = directory.file();
    ORV::sconfig config; // on that file
    const std::string good =
        settings_file("ORV<root>\n <a>\n  <b>\n   1\n  </b>\n </a>\n <~ORV/>\n</root>\n");
};

TEST_F(File, Saves) {
    const std::string error = "openWrite::write error", again = "openWrite again",
                      write = "openWrite::write", missing = directory.file("missing/file"),
                      pipe = directory.file("pipe");
    mkfifo(pipe.c_str(), 0600);
    const struct {
        std::string file;
        long budget;
        lines traces;
    } rows[] = {
        {"", 10000, {error}},
        {path, 0, {"openWrite " + path, error}},
        {missing, 15, {"openWrite " + missing, again, error}},
        {"/dev/full", 10000, {"openWrite /dev/full", again, write, error}},
        {pipe, 10000, {"openWrite " + pipe, again, write, error}}, // a full one
        {path, LONG_MAX, {"openWrite " + path, again, write, write + " OK"}},
    };
    config.doc["a"]->setText(std::string(100000, 'x').c_str());
    for (const auto& row : rows) {
        EXPECT_FALSE(std::filesystem::exists(path));
        config.file = row.file.c_str();
        take_traces();
        EXPECT_EQ(config.writeV(row.budget), row.budget == LONG_MAX);
        lines traces = take_trace_texts();
        traces.erase(std::unique(traces.begin(), traces.end()), traces.end());
        EXPECT_EQ(traces, row.traces) << row.budget;
    }
    EXPECT_EQ(config.fileTime, 0);
    config.setInt("a", "b", 1);
    config.flush();
    EXPECT_NE(config.fileTime, 0);
}

TEST_F(File, TheDestructorWritesBack) {
    for (const bool change : {false, true}) {
        ORV::sconfig other;
        other.file = path.c_str();
        other.cipherKey = settings_key;
        other.doc["a/b"]->setText("1");
        other.doc[ORV::sconfig::marker];
        other.changed = change;
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    EXPECT_EQ(read_file(path), good);
}

TEST_F(File, WhatOpenFinds) {
    write_file(path, good);
    write_file(directory.file("empty"), "");
    mkfifo(directory.file("pipe").c_str(), 0600);
    symlink("missing", directory.file("link").c_str());
    symlink("missing/file", directory.file("astray").c_str());
    const struct {
        std::string path;
        const char* key;
        int result;
    } rows[] = {
        {path, settings_key, ORV_OPEN_LOADED},
        {"", settings_key, ORV_OPEN_REFUSED}, // and nothing changes
        {path, nullptr, ORV_OPEN_REFUSED},
        {path, "a key text of which 32 bytes co", ORV_OPEN_REFUSED},
        {directory.file("missing"), settings_key, ORV_OPEN_NEW},
        {directory.file("empty"), settings_key, ORV_OPEN_NEW},
        {"no-such-file", settings_key, ORV_OPEN_NEW},
        {"/no-such-file", "a key text of which 32 bytes cou", ORV_OPEN_NEW},
        {path, "a key text of which 32 bytes coU", ORV_OPEN_UNREADABLE},
        {directory.file("missing/file"), settings_key, ORV_OPEN_UNREADABLE}, // no folder
        {directory.file("pipe"), settings_key, ORV_OPEN_UNREADABLE},
        {directory.file("link"), settings_key, ORV_OPEN_NEW},
        {directory.file("astray"), settings_key, ORV_OPEN_UNREADABLE},
    };
    EXPECT_EQ(ORV_open(nullptr, settings_key), ORV_OPEN_REFUSED);
    EXPECT_EQ(g_Kernel, nullptr);
    int value = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(ORV_open(row.path.c_str(), row.key), row.result) << row.path;
        if (row.result != ORV_OPEN_REFUSED)
            value = row.result == ORV_OPEN_LOADED ? 1 : -1;
        EXPECT_EQ(ORVSC_GetInt("a", "b", -1), value) << row.path;
        if (value == 1)
            ORVSC_SetString("a", "b", "1"); // is so already
    }
    ORV_close();
    EXPECT_EQ(g_Kernel, nullptr);
    EXPECT_EQ(read_file(path), good);
}

// As it is while another process saves.
TEST_F(File, AnEmptyFileIsWaitedFor) {
    write_file(path, "");
    std::thread saving([this] {
        usleep(50000);
        write_file(path, good);
    });
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
    saving.join();
}

// What could be read stays, after a save and another opening too.
TEST_F(File, WhatIsNotWhole) {
    const struct {
        std::string plain;
        int value, opened_again;
    } rows[] = {
        {"ORV<root><a><b>1</b></a>", 1, ORV_OPEN_LOADED}, // cut short
        {"<root><a><b>1</b></a><~ORV/></root>", -1, ORV_OPEN_LOADED},
        {"ORV<root><a><b>1</b></a><t><t>5 <x a=\" inch</t></t><~ORV/></root>", 1,
         ORV_OPEN_UNREADABLE}, // markup in a value
    };
    for (const auto& row : rows) {
        write_file(path, settings_file(row.plain));
        EXPECT_EQ(open(), ORV_OPEN_UNREADABLE) << row.plain;
        EXPECT_EQ(ORVSC_GetInt("a", "b", -1), row.value) << row.plain;
        ORVSC_SetString("a", "new", ""); // a change like any other
        ORV_close();
        const std::string before = read_file(path);
        EXPECT_EQ(open(), row.opened_again) << row.plain;
        EXPECT_EQ(ORVSC_GetInt("a", "b", -1), row.value) << row.plain;
        EXPECT_EQ(ORVSC_GetInt("a", "new", -1), 0) << row.plain;
        ORV_close();
        EXPECT_EQ(read_file(path), before); // nothing was set
    }
    EXPECT_EQ(open(), ORV_OPEN_UNREADABLE);
    ORVSC_SetString("t", "t", "5 inch"); // mends it
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
}

// A key text that is too short is completed with zeros, not with what stands behind it.
TEST_F(File, AShortKey) {
    str_t(std::string(2000, 'x').c_str()).clear(); // leaves a block that is not clean
    config.cipherKey = "short";
    write_file(path, settings_file("ORV<x/>", "short"));
    EXPECT_FALSE(config.readV());
    EXPECT_STREQ(config.doc.name, "x");
}

// For a tenth of a second; saving takes another.
TEST_F(File, TheLockIsWaitedFor) {
    write_file(path, good);
    ORV::xfile held;
    EXPECT_TRUE(held.open(path.c_str(), "rb"));
    EXPECT_EQ(flock(fileno(held.handle), LOCK_EX), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(config.readV());
    const auto between = std::chrono::steady_clock::now();
    EXPECT_TRUE(config.writeV(10000));
    EXPECT_GE(between - begin, std::chrono::milliseconds(100));
    EXPECT_GE(std::chrono::steady_clock::now() - between, std::chrono::milliseconds(200));
}

// A child made in the middle of a save has the file too, but neither it nor what it runs keeps the
// lock.
TEST_F(File, AChildDoesNotKeepTheLock) {
    const int descriptor = dup(0);
    ::close(descriptor);                 // the next to be opened will have that number
    for (int flags = -1; flags == -1;) { // until we look while the file is open
        std::filesystem::remove(path);
        std::thread saving([this] { EXPECT_TRUE(config.writeV(10000)); });
        while (!std::filesystem::exists(path))
            usleep(1000);
        usleep(20000); // of the hundred milliseconds that it stays open
        const pid_t child = fork();
        if (child == 0)
            for (;;)
                pause();
        flags = fcntl(descriptor, F_GETFD);
        saving.join();
        EXPECT_TRUE(flags == -1 || flags == FD_CLOEXEC);
        ORV::xfile file;
        EXPECT_TRUE(file.open(path.c_str(), "rb"));
        EXPECT_EQ(flock(fileno(file.handle), LOCK_EX | LOCK_NB), 0);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

// ---- The worked example of docs/settings-file.md

// What stands in the page's fenced block of that name.
std::string block(const std::string& name) {
    static const std::string page = read_file(ORV_SOURCE_DIR "/docs/settings-file.md");
    const std::size_t from = page.find("\n```" + name + "\n") + 5 + name.size();
    return page.substr(from, page.find("```", from) - from);
}

std::string unhex(const std::string& digits) {
    std::istringstream in(digits);
    std::string bytes;
    for (unsigned byte; in >> std::hex >> byte;)
        bytes += static_cast<char>(byte);
    return bytes;
}

TEST_F(File, ExampleOfTheDocumentation) {
    const std::string example = unhex(block("file")), blocks = unhex(block("blocks"));
    const std::string key = block("key").substr(0, 32);
    for (const int found : {ORV_OPEN_NEW, ORV_OPEN_LOADED}) {
        EXPECT_EQ(ORV_open(path.c_str(), key.c_str()), found);
        ORVSC_SetInt("window", "width", 800);
        ORVSC_SetString("user", "name", "Ada");
        ORV_close();
        EXPECT_EQ(read_file(path), example);
    }
    std::string from_blocks;
    for (unsigned long at = 0; at < blocks.size(); at += 16)
        from_blocks += blocks.substr(at + 1, static_cast<unsigned char>(blocks[at]));
    EXPECT_EQ(from_blocks, "ORV" + block("text"));
}

} // namespace
