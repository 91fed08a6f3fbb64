// The worker's reload check, beside the host's calls.
#include <orv/orv.hpp>

#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const char key[] = "0123456789abcdef0123456789abcdef";
constexpr std::chrono::milliseconds one_pass(1000); // of the worker, when nothing was reloaded

// A file in which the setting v/v has that value.
std::string settings(const std::string& value, const char* marker = "<~ORV/>") {
    const std::string plain = "ORV<root><v><v>" + value + "</v></v>" + marker + "</root>";
    std::string key_bytes = key;
    const bin_t file = ORV::aes::encrypt(bin_t(plain.data(), plain.size()),
                                         reinterpret_cast<unsigned char*>(key_bytes.data()), 256);
    return std::string(file.data(), file.length());
}

// Every change gets a second of its own, as the check tells changes apart by whole seconds, and is
// there at once.
void write_at(const std::string& path, const std::string& bytes, int second) {
    const std::string written = path + ".new";
    write_file(written, bytes);
    const timespec times[] = {{second, 0}, {second, 0}};
    utimensat(AT_FDCWD, written.c_str(), times, 0);
    std::filesystem::rename(written, path);
}

bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 1000; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// Each row is a store in which a value is set right after opening. It stays while the file is as it
// was, and when that turns bad, until it is whole again, within the same second.
TEST(Reload, WhatDoesNotLoadChangesNothing) {
    const temporary_directory directory; // outlives the stores, which save at last
    const std::string good = settings("1");
    std::string damaged = good;
    ++damaged[0];
    struct row {
        const char* name;
        std::string bad;
        std::unique_ptr<ORV::kernel> store;
    } rows[] = {
        {"half written", good.substr(0, 25), {}},
        {"damaged", damaged, {}}, // as a file under another key looks
        {"empty", "", {}},
        {"without the marker", settings("4", "<other/>"), {}},
        {"no settings", "<root><v><v>5</v></v><~ORV/></root>", {}},
        {"no file", "removed", {}},
        {"a pipe in its place", "pipe", {}},
    };
    for (row& row : rows) {
        const std::string path = directory.file(row.name);
        write_at(path, good, 1000);
        row.store = std::make_unique<ORV::kernel>();
        ASSERT_TRUE(row.store->open(path.c_str(), key));
        row.store->setInt("mine", "x", 7);
    }
    const auto expect_no_change = [&] {
        std::this_thread::sleep_for(one_pass * 5 / 4);
        for (const row& row : rows) {
            EXPECT_EQ(row.store->getInt("v", "v", 0), 1) << row.name;
            EXPECT_EQ(row.store->getInt("mine", "x", 0), 7) << row.name;
        }
    };
    expect_no_change();
    for (const row& row : rows) {
        const std::string path = directory.file(row.name);
        write_at(path, row.bad, 2000);
        if (row.bad == "removed" || row.bad == "pipe")
            std::filesystem::remove(path);
        if (row.bad == "pipe")
            mkfifo(path.c_str(), 0600);
    }
    expect_no_change();
    // The changed flag stays too: what was set is saved.
    const std::string saved = directory.file(rows[0].name);
    ASSERT_TRUE(rows[0].store->open(saved.c_str(), key));
    EXPECT_EQ(rows[0].store->getInt("mine", "x", 0), 7);

    for (const row& row : rows)
        write_at(directory.file(row.name), settings("2"), 2000);
    for (const row& row : rows) {
        EXPECT_TRUE(eventually([&] { return row.store->getInt("v", "v", 0) == 2; })) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), 0); // a load replaces everything
        row.store->setInt("mine", "x", 8);
    }
    // A time that goes back is a change too; one before the epoch counts as none.
    write_at(directory.file("empty"), settings("8"), 500);
    write_at(directory.file("damaged"), settings("9"), 0);
    EXPECT_TRUE(eventually([&] { return rows[2].store->getInt("v", "v", 0) == 8; }));
    std::this_thread::sleep_for(one_pass);
    for (const row& row : rows) {
        const bool changed = row.name == std::string("empty");
        EXPECT_EQ(row.store->getInt("v", "v", 0), changed ? 8 : 2) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), changed ? 0 : 8) << row.name;
    }
}

// Four threads of a host, the worker, and another process that saves again and again.
TEST(Reload, BesideTheThreadsOfTheHost) {
    const temporary_directory directory;
    const std::string path = directory.file();
    write_at(path, settings("0"), 1000);
    const pid_t writer = fork(); // before there are threads
    if (writer == 0) {
        ORV::sconfig config;
        config.file = path.c_str();
        config.cipherKey = key;
        config.readV();
        for (int i = 1; i <= 18; ++i) {
            config.setInt("v", "v", i);
            config.writeV(10000); // takes 100 ms, most of them with an empty file
            const timespec times[] = {{1000 + i, 0}, {1000 + i, 0}};
            utimensat(AT_FDCWD, path.c_str(), times, 0);
        }
        _exit(0);
    }
    while (ORV_open(path.c_str(), key) != ORV_OPEN_LOADED)
        ;
    std::atomic<bool> over{false};
    const auto host = [&](int number) {
        const std::string mine = "host" + std::to_string(number);
        for (int i = 0; !over; ++i) {
            char buf[32];
            ORVSC_SetInt(mine.c_str(), "count", i);
            ORVSC_SetString(mine.c_str(), "below/it", "<a>1</a>");
            ORVSC_GetInt(mine.c_str(), "count", -1);
            ORVSC_GetInt((mine + "/below/it").c_str(), "a", 0);
            int size = sizeof buf - 1;
            ORVSC_GetString("v", "v", buf, &size, "");
            EXPECT_EQ(buf, std::to_string(std::atoi(buf)));
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(host, i);
    int status = -1;
    EXPECT_EQ(waitpid(writer, &status, 0), writer);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(eventually([] { return ORVSC_GetInt("v", "v", 0) == 18; }));
    over = true;
    for (std::thread& thread : threads)
        thread.join();
    ORV_close();
}

} // namespace
