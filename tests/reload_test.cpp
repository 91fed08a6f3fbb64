// The worker's reload check, beside the host's calls.
#include <orv/orv.hpp>

#include "support/settings_file.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/resource.h>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A file in which the setting v/v has that value.
std::string settings(const std::string& value, const std::string& marker = "<~ORV/>") {
    return settings_file("ORV<root><v><v>" + value + "</v></v>" + marker + "</root>");
}

// Every change gets a second of its own, as the check tells changes apart by whole seconds, and is
// there at once.
void write_at(const std::string& path, const std::string& bytes, int second) {
    const timespec times[] = {{second, 0}, {second, 0}};
    write_file(path + ".new", bytes);
    utimensat(AT_FDCWD, (path + ".new").c_str(), times, 0);
    std::filesystem::rename(path + ".new", path);
}

// How often this thread has waited for something.
long waits() {
    rusage used;
    getrusage(RUSAGE_THREAD, &used);
    return used.ru_nvcsw;
}

// Each row is a store in which a value is set right after opening, and whose file then changes.
TEST(Reload, WhatDoesNotLoadChangesNothing) {
    const temporary_directory directory; // outlives the stores, which save at last
    const std::string good = settings("1");
    struct row {
        const char* name;
        std::string then;
        int second, value;
        std::unique_ptr<ORV::kernel> store = {};
    } rows[] = {
        {"as it was", good, 1000, 1},
        {"not ours", "another file", 2000, 1},
        {"empty", "", 2000, 1},
        {"no marker", settings("4", ""), 2000, 1},
        {"from before the epoch", settings("6"), 0, 1},
        {"older", settings("8"), 500, 8},
    };
    for (row& row : rows) {
        const std::string path = directory.file(row.name);
        write_at(path, good, 1000);
        row.store = std::make_unique<ORV::kernel>();
        ASSERT_TRUE(row.store->open(path.c_str(), settings_key));
        row.store->setInt("mine", "x", 7);
        write_at(path, row.then, row.second);
    }
    ORV::xfile locked; // to read it takes a tenth of a second
    ASSERT_TRUE(locked.open(directory.file("no marker").c_str(), "rb"));
    ASSERT_EQ(flock(fileno(locked.handle), LOCK_EX), 0);
    // A little more than a pass of the worker, and another behind a reload. No get waits while it
    // looks into a file.
    int waited = 0;
    bool reloaded = false;
    ORV::kernel& older = *std::end(rows)[-1].store;
    for (const auto end = steady_clock::now() + milliseconds(1750); steady_clock::now() < end;) {
        if (!reloaded && older.getInt("v", "v", 0) == 8) {
            reloaded = true;
            older.setInt("mine", "x", 9); // stays: the file is known now
        }
        const long before = waits();
        const auto begin = steady_clock::now();
        for (const row& row : rows)
            row.store->getInt("v", "v", 0);
        waited += steady_clock::now() - begin > milliseconds(30) && waits() != before;
    }
    EXPECT_EQ(waited, 0);
    for (const row& row : rows) {
        EXPECT_EQ(row.store->getInt("v", "v", 0), row.value) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), row.value == 1 ? 7 : 9) << row.name;
    }
    // The changed flag stays too: what was set is saved.
    const std::string other = directory.file(rows[1].name);
    ASSERT_TRUE(rows[1].store->open(other.c_str(), settings_key));
    EXPECT_EQ(rows[1].store->getInt("mine", "x", 0), 7);
    rows[1].store = std::make_unique<ORV::kernel>();
    write_at(other, "still not ours", 2000);
    ASSERT_FALSE(rows[1].store->open(other.c_str(), settings_key));

    locked.close();
    // In the second of the change before, which did not load, so it does not count.
    for (const row& row : rows)
        write_at(directory.file(row.name), settings("2"), 2000);
    for (const row& row : rows) {
        for (int looks = 0; looks < 1000 && row.store->getInt("v", "v", 0) != 2; ++looks)
            std::this_thread::sleep_for(milliseconds(10));
        EXPECT_EQ(row.store->getInt("v", "v", 0), 2) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), 0) << row.name; // a load replaces everything
    }
    const auto begin = steady_clock::now();
    for (row& row : rows)
        row.store.reset();
    EXPECT_LT(steady_clock::now() - begin, milliseconds(1000)); // each is in a pause of 500
    for (const row& row : rows)
        EXPECT_EQ(read_file(directory.file(row.name)), settings("2")) << row.name; // not saved
}

} // namespace
