// The settings file: its lines, saving, loading, opening, reloading, and files that are not as they
// should be.
#include <orv/orv.hpp>

#include "support/guarded_page.hpp"
#include "support/page.hpp"
#include "support/random.hpp"
#include "support/settings_file.hpp"
#include "support/temporary_directory.hpp"
#include "support/time_of.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using lines = std::vector<std::string>;

// A file in which the setting a/b has that value.
std::string settings(const std::string& value, const std::string& marker = "<~ORV/>") {
    return settings_file("ORV<root><a><b>" + value + "</b></a>" + marker + "</root>");
}

// A change that is there at once, at that time.
void write_at(const std::string& path, const std::string& bytes, int second, int nanosecond = 0) {
    const timespec times[] = {{second, nanosecond}, {second, nanosecond}};
    write_file(path + ".new", bytes);
    utimensat(AT_FDCWD, (path + ".new").c_str(), times, 0);
    std::filesystem::rename(path + ".new", path);
}

struct File : testing::Test {
    File() {
        config.file = path.c_str();
        config.cipherKey = settings_key;
    }
    ~File() override { ORV_close(); }
    int open() const { return ORV_open(path.c_str(), settings_key); }

    const temporary_directory directory;
    const std::string path = directory.file();
    ORV::sconfig config; // on that file
    const std::string good = settings("1");
};

// Since the last time; of those that repeat one another one.
lines traces() {
    lines texts;
    for (const traced& line : take_traces())
        texts.push_back(line.text);
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    return texts;
}

std::string x(unsigned long count) { return std::string(count, 'x'); }

TEST_F(File, Lines) {
    const struct {
        const char* name;
        std::string text;
        lines expected;
    } rows[] = {
        {"no text", "", {}},
        {"pairs", "a\r\nb\n\rc\n\nd\r\re", {"a", "b", "c", "", "d", "", "e"}},
        {"NULs", std::string("a\0b\0\nc\r\0", 8), {"a", "b", "", "c", ""}},
        {"a piece ends in LF", x(254) + "\ny", {x(254) + "y"}},
        {"a piece ends in CR, a pair follows", x(254) + "\r\n\ry", {x(254), "y"}},
        {"a piece ends in LF, the file too", x(254) + "\n", {x(254)}},
        {"a piece ends in a pair", x(253) + "\r\ny", {x(253), "y"}},
        {"a piece ends in NUL", x(254) + std::string("\0y", 2), {x(254), "y"}},
        {"a lone terminator", "\n", {""}},
        {"joined twice", x(254) + "\n" + x(254) + "\ny", {x(508) + "y"}},
    };
    ORV::xfile file;
    str_t line("what was there before");
    EXPECT_FALSE(file.read(line)); // none is open
    for (const auto& row : rows) {
        write_file(path, row.text);
        EXPECT_TRUE(file.open(path.c_str(), "rb"));
        lines found;
        while (found.size() < 10 && file.read(line))
            found.emplace_back(line.c_str(), line.length());
        EXPECT_EQ(found, row.expected) << row.name;
    }
    const int descriptor = fileno(file.handle);
    file.flag = true;
    EXPECT_FALSE(file.open("no-such-file", "rb"));
    EXPECT_FALSE(file.flag);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);       // closed, though no other was opened
    EXPECT_TRUE(file.open(file.path.c_str(), "rb")); // by its own text
}

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
        {missing, 100, {"openWrite " + missing, again, error}},
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
        EXPECT_EQ(traces(), row.traces) << row.budget;
    }
    EXPECT_EQ(config.fileTime, 0);
    config.setInt("a", "b", 1);
    config.flush();
    EXPECT_NE(config.fileTime, 0);
}

TEST_F(File, WhatOpenFinds) {
    write_file(path, good);
    write_file(directory.file("empty"), "");
    mkfifo(directory.file("pipe").c_str(), 0600);
    symlink("missing", directory.file("link").c_str());
    symlink("missing/file", directory.file("astray").c_str());
    mkdir(directory.file("locked").c_str(), 0555);
    chmod(directory.file("").c_str(), 0755);
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
        {directory.file("empty"), settings_key, ORV_OPEN_UNREADABLE},
        {"no-such-file", settings_key, ORV_OPEN_NEW}, // where we are
        {path, copy_before_guard("a key text of which 32 bytes cou"), ORV_OPEN_LOADED}, // no NUL
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
    EXPECT_EQ(seteuid(getuid() == 0 ? 65534 : getuid()), 0); // root may write anywhere
    EXPECT_EQ(ORV_open(directory.file("locked/file").c_str(), settings_key), ORV_OPEN_UNREADABLE);
    EXPECT_EQ(seteuid(getuid()), 0);
    ORV_close();
    EXPECT_EQ(g_Kernel, nullptr);
    EXPECT_EQ(read_file(path), good);
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

// A child made in the middle of a save has the file too, but neither it nor what it runs keeps the
// lock. While the file is empty, opening waits for what is about to come.
TEST_F(File, AChildDoesNotKeepTheLock) {
    config.doc[ORV::sconfig::marker];
    const int descriptor = dup(0);
    ::close(descriptor);                 // the next to be opened will have that number
    for (int flags = -1; flags == -1;) { // until we look while the file is open
        std::filesystem::remove(path);
        std::thread saving([this] { EXPECT_TRUE(config.writeV(10000)); });
        while (!std::filesystem::exists(path))
            usleep(1000);
        const pid_t child = fork();
        if (child == 0)
            _exit(static_cast<int>(sleep(60)));
        flags = fcntl(descriptor, F_GETFD);
        EXPECT_EQ(open(), ORV_OPEN_LOADED);
        ORV_close();
        saving.join();
        EXPECT_TRUE(flags == -1 || flags == FD_CLOEXEC);
        const int file = ::open(path.c_str(), O_RDONLY);
        EXPECT_EQ(flock(file, LOCK_EX | LOCK_NB), 0);
        ::close(file);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

// It is waited for, for a tenth of a second, which is also what saving takes. The worker waits,
// too; no get of a host does.
TEST_F(File, TheLockIsWaitedFor) {
    write_file(path, good);
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
    const int file = ::open(path.c_str(), O_RDONLY);
    EXPECT_EQ(flock(file, LOCK_EX), 0);
    EXPECT_GE(time_of([&] { EXPECT_TRUE(config.readV()); }), 100);
    config.setInt("a", "b", 2);
    EXPECT_GE(time_of([&] { EXPECT_TRUE(config.writeV(10000)); }), 200);
    bool waits = false;
    for (int value = 1; value != 2 && !waits;) {
        rusage before, after;
        getrusage(RUSAGE_THREAD, &before);
        waits = time_of([&] { value = ORVSC_GetInt("a", "b", 0); }) > 30;
        getrusage(RUSAGE_THREAD, &after);
        waits = waits && after.ru_nvcsw > before.ru_nvcsw; // otherwise the machine was busy
    }
    EXPECT_FALSE(waits);
    ::close(file);
}

// ---- Saving while the store is open

// What the system tells of the room there is, for the tests.
bool is_full = false, is_limit_hidden = false;

} // namespace

// (The thread sanitizer asks for limits before it is ready itself.)
#define NOT_WATCHED __attribute__((no_sanitize("thread")))

extern "C" ORV_API int statvfs(const char* path, struct statvfs* found) noexcept {
    *found = {};
    found->f_blocks = found->f_frsize = 4096;
    if (!is_full || !std::filesystem::is_regular_file(path)) // its folder may be elsewhere
        found->f_bfree = found->f_bavail = 4096;
    return 0;
}

extern "C" ORV_API NOT_WATCHED int getrlimit(__rlimit_resource_t of, rlimit* found) noexcept {
    const int result = prlimit(0, static_cast<__rlimit_resource>(of), nullptr, found);
    if (is_limit_hidden)
        found->rlim_cur = RLIM_INFINITY;
    return result;
}

namespace {

// What stands in the way of a save, or comes while it waits. If it fails, the file holds what it
// held, the host goes on and has its values, and they are saved once there is room.
TEST_F(File, ASaveLosesNothing) {
    const struct {
        const char* name;
        bool is_full, is_limited, is_limit_hidden;
        int reason; // why it fails, if it does
        void (*meanwhile)(const std::string& file) = [](const std::string&) {}; // by others
        std::string kept = settings("1");
    } rows[] = {
        {"a full disk", true, false, false, ENOSPC},
        {"a limit", false, true, false, EFBIG, // the file is not even opened
         [](const std::string& file) { EXPECT_EQ(read_file(file), settings("1")); }},
        {"a limit that is met in the middle", false, true, true, EFBIG},
        {"another process saves, then a limit", false, true, true, EFBIG,
         [](const std::string& file) { write_file(file, settings("3")); }, settings("3")},
        {"the file goes", false, false, false, 0,
         [](const std::string& file) { std::filesystem::remove(file); }},
        {"another takes its place", false, false, false, 0,
         [](const std::string& file) { write_at(file, settings("3"), 1000); }},
    };
    for (const auto& row : rows) {
        write_file(path, good);
        EXPECT_EQ(open(), ORV_OPEN_LOADED);
        ORVSC_SetString("a", "long", x(20000).c_str());
        ORVSC_SetInt("a", "b", 2);
        rlimit limit{8192, RLIM_INFINITY}, none;
        prlimit(0, RLIMIT_FSIZE, row.is_limited ? &limit : nullptr, &none);
        is_full = row.is_full;
        is_limit_hidden = row.is_limit_hidden;
        take_traces();
        std::thread meanwhile([&] {
            usleep(50000);
            row.meanwhile(path);
        });
        EXPECT_EQ(ORV_save(), row.reason == 0 ? ORV_SAVE_OK : ORV_SAVE_FAILED) << row.name;
        if (row.reason != 0) {
            EXPECT_EQ(errno, row.reason) << row.name;
            EXPECT_EQ(traces(), (lines{"openWrite " + path, "openWrite again", "openWrite::write",
                                       "openWrite::write error"}));
            EXPECT_EQ(read_file(path), row.kept) << row.name;
        }
        meanwhile.join();
        is_full = is_limit_hidden = false;
        none.rlim_cur = none.rlim_max;
        prlimit(0, RLIMIT_FSIZE, &none, nullptr);
        if (row.is_limit_hidden) // what we have put back is no change
            usleep(1200000);
        EXPECT_EQ(ORVSC_GetInt("a", "b", 0), 2) << row.name;
        EXPECT_EQ(ORV_close(), ORV_SAVE_OK) << row.name;
        EXPECT_EQ(open(), ORV_OPEN_LOADED);
        EXPECT_EQ(ORVSC_GetInt("a", "b", 0), 2) << row.name;
        ORV_close();
    }
}

TEST_F(File, WhatBecameOfTheValues) {
    errno = ENOSPC;
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK); // nothing is open
    EXPECT_EQ(errno, 0);
    write_file(path, good);
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
    ORVSC_SetInt("a", "b", 1);
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK);
    EXPECT_EQ(read_file(path), good); // no value was another one
    ORVSC_SetInt("a", "b", 2);
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK);
    const std::string saved = read_file(path);
    struct stat ours;
    stat(path.c_str(), &ours);
    write_file(path, "");
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK); // nothing was set since, and nothing is written
    EXPECT_EQ(read_file(path), "");

    // Another process's values, saved in the same second, replace what two threads have set; each
    // of them is told, once.
    int told = 0;
    std::thread other([&] {
        ORVSC_SetInt("a", "c", 3);
        write_at(path, good, static_cast<int>(ours.st_mtime));
        while (ORVSC_Reloads() == 0)
            usleep(1000);
        told = ORV_save();
    });
    ORVSC_SetInt("a", "b", 4);
    other.join();
    EXPECT_EQ(told, ORV_SAVE_REPLACED);
    EXPECT_EQ(ORV_save(), ORV_SAVE_REPLACED);
    EXPECT_EQ(ORVSC_GetInt("a", "b", 0), 1);
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK);
    ORVSC_SetInt("a", "b", 2);
    EXPECT_EQ(ORV_save(), ORV_SAVE_OK);
    EXPECT_EQ(read_file(path), saved);

    // A change that leaves no trace, as where file times are coarse, is found in the end.
    stat(path.c_str(), &ours);
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary)
        << settings_file("ORV<root>\n <a>\n  <b>\n   9\n  </b>\n </a>\n <~ORV/>\n</root>\n");
    const timespec times[] = {ours.st_atim, ours.st_mtim};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
    for (int looks = 0; looks < 1000 && ORVSC_GetInt("a", "b", 0) != 9; ++looks)
        usleep(10000);
    EXPECT_EQ(ORVSC_GetInt("a", "b", 0), 9);
    EXPECT_EQ(ORV_close(), ORV_SAVE_OK); // and is not written again
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
    EXPECT_EQ(ORVSC_Reloads(), 0);
}

// ---- Reloading

// Each row is a store in which a value is set right after opening, and whose file then changes.
TEST_F(File, WhatDoesNotLoadChangesNothing) {
    struct row {
        const char* name;
        std::string then;
        int second, nanosecond = 0;
        std::unique_ptr<ORV::kernel> store = {};
    } rows[] = {
        {"as it was", good, 1000, 1}, // but for a fraction of its time
        {"not ours", "another file", 2000},     {"empty", "", 2000},
        {"no marker", settings("4", ""), 2000}, {"from before the epoch", settings("6"), 0},
    };
    for (row& row : rows) {
        const std::string file = directory.file(row.name);
        write_at(file, good, 1000);
        row.store = std::make_unique<ORV::kernel>();
        ASSERT_TRUE(row.store->open(file.c_str(), settings_key));
        row.store->setInt("mine", "x", 7);
        write_at(file, row.then, row.second, row.nanosecond);
    }
    usleep(1750000); // the worker has looked three times
    for (const row& row : rows) {
        EXPECT_EQ(row.store->getInt("a", "b", 0), 1) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), 7) << row.name;
    }
    // The changed flag stays too: what was set is saved.
    EXPECT_EQ(rows[1].store->save(), ORV_SAVE_OK);
    EXPECT_NE(read_file(directory.file(rows[1].name)), rows[1].then);

    // Older than what was loaded, and in the second of a change that did not load, which does not
    // count.
    for (const row& row : rows)
        write_at(directory.file(row.name), settings("2"), row.second == 1000 ? 500 : 2000);
    for (row& row : rows) {
        for (int looks = 0; looks < 1000 && row.store->getInt("a", "b", 0) != 2; ++looks)
            usleep(10000);
        EXPECT_EQ(row.store->getInt("a", "b", 0), 2) << row.name;
        EXPECT_EQ(row.store->getInt("mine", "x", 0), 0) << row.name; // a load replaces everything
        row.store.reset();
        EXPECT_EQ(read_file(directory.file(row.name)), settings("2")) << row.name; // not saved
    }
}

// ---- Texts of any bytes

TEST_F(File, AnyTextSurvives) {
    seeded_random random;
    const std::string bytes = random.bytes(300) + "<>&\"'=/ \t\n\r;#&amp;&#65;</a><~ORV/>";
    std::vector<std::pair<std::string, std::string>> expected;
    EXPECT_EQ(open(), ORV_OPEN_NEW);
    for (int i = 0; i < 3000; ++i) {
        const std::string name = std::to_string(i) + random.text(random.below(3), bytes).c_str();
        const std::string text = random.text(random.below(20), bytes).c_str();
        const bool is_good = name.find_first_of("<>\"'= \t\n\r") == name.npos;
        EXPECT_EQ(ORVSC_SetText("any", ("~" + name).c_str(), text.c_str()), is_good) << name;
        if (is_good)
            expected.emplace_back("ANY/~" + name, text);
    }
    EXPECT_EQ(ORV_close(), ORV_SAVE_OK);
    EXPECT_EQ(open(), ORV_OPEN_LOADED);
    for (const auto& [name, text] : expected) {
        char got[100];
        ORVSC_GetText(nullptr, name.c_str(), got, sizeof got, nullptr);
        EXPECT_EQ(got, text) << name;
    }
}

// ---- The worked example of docs/settings-file.md

TEST_F(File, ExampleOfTheDocumentation) {
    const std::string key = block_of_page("settings-file.md", "key");
    std::istringstream digits(block_of_page("settings-file.md", "file"));
    std::string example;
    for (unsigned byte; digits >> std::hex >> byte;)
        example += static_cast<char>(byte);
    for (const int found : {ORV_OPEN_NEW, ORV_OPEN_LOADED}) {
        EXPECT_EQ(ORV_open(path.c_str(), key.c_str()), found);
        ORVSC_SetInt("window", "width", 800);
        ORVSC_SetString("user", "name", "Ada");
        ORV_close();
        EXPECT_EQ(read_file(path), example);
    }
}

} // namespace
