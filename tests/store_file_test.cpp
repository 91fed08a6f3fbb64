// The settings file: saving, loading, opening, and files that are not as they should be.
#include <orv/orv.hpp>

#include "fuzz/support.hpp"
#include "support/random.hpp"
#include "support/temporary_directory.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <filesystem>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using lines = std::vector<std::string>;

const char key[] = "a key text of which 32 bytes count"; // that of the fuzz target
const char other_key[] = "a key text of which 32 bytes coUnt";

std::string text_of(const xml::item& document) {
    str_t text;
    document.saveF(text, 0);
    return text.c_str();
}

unsigned char* raw(const char* text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text));
}

std::string encipher(const std::string& plain, const char* with = key) {
    const bin_t bytes = ORV::aes::encrypt(bin_t(plain.data(), plain.size()), raw(with), 256);
    return std::string(bytes.data(), bytes.length());
}

std::string decipher(const std::string& file, const char* with = key) {
    const bin_t bytes = ORV::aes::decrypt(bin_t(file.data(), file.size()), raw(with), 256);
    return std::string(bytes.data(), bytes.length());
}

long milliseconds_of(const std::function<void()>& what) {
    using namespace std::chrono;
    const auto begin = steady_clock::now();
    what();
    return static_cast<long>(duration_cast<milliseconds>(steady_clock::now() - begin).count());
}

struct File : testing::Test {
    ~File() override { ORV_close(); }

    // A store on the file, for the test to work on.
    std::unique_ptr<ORV::sconfig> config() const {
        auto made = std::make_unique<ORV::sconfig>();
        made->file = path.c_str();
        made->cipherKey = key;
        return made;
    }
    int open(const char* with = key) const { return ORV_open(path.c_str(), with); }

    temporary_directory directory;
    std::string path = directory.file();
    // Some settings, as a file.
    std::string text =
        "<root>\n <a>\n  <b>\n   1\n  </b>\n </a>\n <s>\n  <k>\n   some text\n  </k>\n"
        " </s>\n <~ORV/>\n</root>\n";
    std::string good = encipher("ORV" + text);
};

TEST_F(File, Saving) {
    const auto saved = config();
    saved->setInt("a", "b", 1);
    saved->fileTime = 77;
    take_traces();
    EXPECT_GE(milliseconds_of([&] { EXPECT_TRUE(saved->writeV(LONG_MAX)); }), 100);
    EXPECT_EQ(take_traces(), (std::vector<traced>{{0x1004, "openWrite " + path},
                                                  {0x1004, "openWrite again"},
                                                  {0x1004, "openWrite::write"},
                                                  {0x1004, "openWrite::write OK"}}));
    EXPECT_TRUE(saved->changed);
    EXPECT_EQ(saved->fileTime, 77);
    EXPECT_EQ(read_file(path), encipher("ORV<root>\n <a>\n  <b>\n   1\n  </b>\n </a>\n</root>\n"));

    saved->flush();
    EXPECT_TRUE(saved->changed);
    struct stat state = {};
    EXPECT_EQ(stat(path.c_str(), &state), 0);
    EXPECT_EQ(saved->fileTime, state.st_mtime);
    saved->changed = false;
}

TEST_F(File, SavesThatFail) {
    const std::string missing = directory.file("missing/file"), error = "openWrite::write error";
    const struct {
        std::string file;
        long budget;
        lines traces;
    } rows[] = {
        {"", 10000, {error}},
        {path, 0, {"openWrite " + path, error}},
        {path, LONG_MIN, {"openWrite " + path, error}},
        {missing, 15, {"openWrite " + missing, "openWrite again", error}},
        {"/dev/full", 10000, {"openWrite /dev/full", "openWrite again", "openWrite::write", error}},
    };
    for (const auto& row : rows) {
        const auto saved = config();
        saved->file = row.file.c_str();
        take_traces();
        EXPECT_FALSE(saved->writeV(row.budget));
        lines traces = take_trace_texts();
        traces.erase(std::unique(traces.begin(), traces.end()), traces.end());
        EXPECT_EQ(traces, row.traces) << row.budget;
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(File, ASaveWaitsTillTheFileCanBeOpened) {
    const auto saved = config();
    saved->file = directory.file("late/file").c_str();
    std::thread late([&] {
        usleep(50000);
        std::filesystem::create_directory(directory.file("late"));
    });
    EXPECT_TRUE(saved->writeV(10000));
    late.join();
}

TEST_F(File, TheDestructorWritesBack) {
    {
        const auto saved = config();
        saved->setInt("a", "b", 1);
    }
    const auto loaded = config();
    loaded->readV();
    EXPECT_EQ(text_of(loaded->doc), "<root>\n <a>\n  <b>\n   1\n  </b>\n </a>\n</root>\n");
    std::filesystem::remove(path);
    config(); // unchanged
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(File, ValuesComeBack) {
    ASSERT_EQ(open(), ORV_OPEN_NEW);
    const std::string long_text(100000, 'x');
    const char* const values[] = {
        "",     "text", "two\n  lines", "a  b",  "cr\r",           "\xC3\xA4\x80\xFF",
        "\"'`", "&lt;", "a>b",          "/ = >", long_text.c_str()};
    for (unsigned i = 0; i < std::size(values); ++i)
        ORVSC_SetString("values", std::to_string(i).c_str(), values[i]);
    ORVSC_SetInt("a/b", "c/d", INT_MIN);
    ORVSC_SetString(nullptr, "~z", "behind the marker");
    ORV_close();
    EXPECT_EQ(decipher(read_file(path)).substr(0, 10), "ORV<root>\n");
    ASSERT_EQ(open(), ORV_OPEN_LOADED);
    std::string found(long_text.size() + 10, '?');
    for (unsigned i = 0; i < std::size(values); ++i) {
        int size = static_cast<int>(found.size()) - 1;
        ORVSC_GetString("VALUES", std::to_string(i).c_str(), found.data(), &size, "(none)");
        EXPECT_STREQ(found.c_str(), values[i]);
    }
    EXPECT_EQ(ORVSC_GetInt("a", "b/c/d", 0), INT_MIN);
}

TEST_F(File, WhatOpenFinds) {
    write_file(directory.file("good"), good);
    write_file(directory.file("empty"), "");
    write_file(directory.file("foreign"), encipher("ORX" + text));
    write_file(directory.file("text"), text);
    std::filesystem::create_symlink(directory.file("nowhere"), directory.file("link"));
    const struct {
        std::string path;
        const char* key;
        int result;
    } rows[] = {
        {directory.file("good"), key, ORV_OPEN_LOADED},
        {"", key, ORV_OPEN_REFUSED},
        {directory.file("good"), nullptr, ORV_OPEN_REFUSED},
        {directory.file("good"), "a key text of which 32 bytes co", ORV_OPEN_REFUSED},
        {directory.file("good"), "a key text of which 32 bytes cou", ORV_OPEN_LOADED},
        {directory.file("empty"), key, ORV_OPEN_NEW},
        {directory.file("missing"), key, ORV_OPEN_NEW},
        {directory.file("missing/file"), key, ORV_OPEN_NEW},
        {directory.file("link"), key, ORV_OPEN_NEW},
        {directory.file("good"), other_key, ORV_OPEN_UNREADABLE},
        {directory.file("foreign"), key, ORV_OPEN_UNREADABLE},
        {directory.file("text"), key, ORV_OPEN_UNREADABLE},
        {directory.file(""), key, ORV_OPEN_UNREADABLE},
    };
    EXPECT_FALSE(ORV::kernel().open(nullptr, nullptr));
    EXPECT_EQ(ORV_open(nullptr, key), ORV_OPEN_REFUSED);
    EXPECT_EQ(g_Kernel, nullptr);
    int value = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(ORV_open(row.path.c_str(), row.key), row.result) << row.path;
        if (row.result != ORV_OPEN_REFUSED) // which changes nothing
            value = row.result == ORV_OPEN_LOADED ? 1 : -1;
        EXPECT_EQ(ORVSC_GetInt("a", "b", -1), value) << row.path;
    }
    ORV_close();
    EXPECT_EQ(g_Kernel, nullptr);
    EXPECT_EQ(read_file(directory.file("good")), good); // nothing was written
}

TEST_F(File, AnUnreadableFileIsReplacedByTheFirstSaveOnly) {
    const std::string bad = encipher("ORV" + text, other_key), second = directory.file("second");
    write_file(second, bad);
    write_file(path, bad);
    ASSERT_EQ(open(), ORV_OPEN_UNREADABLE);
    ORVSC_SetString("new", "empty", ""); // a change like any other
    // The store that has saved is still marked as changed; the one after it must not be.
    ASSERT_EQ(ORV_open(second.c_str(), key), ORV_OPEN_UNREADABLE);
    ORV_close();
    EXPECT_EQ(read_file(second), bad);
    ASSERT_EQ(open(), ORV_OPEN_LOADED);
    EXPECT_EQ(ORVSC_GetInt("new", "empty", 9), 0);
}

TEST_F(File, AFileWithoutPermission) {
    write_file(path, good);
    std::filesystem::permissions(directory.file(""), std::filesystem::perms(0755));
    std::filesystem::permissions(path, std::filesystem::perms(0));
    const auto as_nobody = [&] { return (getuid() != 0 || setuid(65534) == 0) ? open() : -1; };
    EXPECT_EXIT(_exit(as_nobody()), testing::ExitedWithCode(ORV_OPEN_UNREADABLE), "");
}

TEST_F(File, ClosingAnUnchangedStoreWaitsForNothing) {
    write_file(path, good);
    long fastest = LONG_MAX; // of three, for the machine may be busy
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(open(), ORV_OPEN_LOADED);
        usleep(20000);             // the worker is in its pause
        ORVSC_SetInt("a", "b", 1); // are so already
        ORVSC_SetString("s", "k", "some text");
        take_traces();
        fastest = std::min(fastest, milliseconds_of(ORV_close));
        EXPECT_EQ(take_trace_texts(), lines()); // nothing was written
    }
    EXPECT_LT(fastest, 300); // the pause is 500
}

TEST_F(File, CutAtEveryLength) {
    // The text is complete from the block on that ends the marker.
    const unsigned long enough = ("ORV" + text).find("<~ORV") + 5;
    for (unsigned long length = 0; length <= good.size(); ++length) {
        const bool whole = length / 16 * 15 >= enough;
        write_file(path, good.substr(0, length));
        EXPECT_EQ(open(), whole    ? ORV_OPEN_LOADED
                          : length ? ORV_OPEN_UNREADABLE
                                   : ORV_OPEN_NEW)
            << length;
        EXPECT_EQ(ORVSC_GetInt("a", "b", -1), whole ? 1 : -1) << length;
    }
}

// By the fuzz target, which knows what each file is to make of a document. Its first byte says
// whether a file or a plaintext follows.
TEST_F(File, EveryDamage) {
    seeded_random random;
    const std::string file(1, '\0'), plaintext(1, '\1');
    for (unsigned long i = 0; i < good.size(); ++i) {
        std::string flipped = good;
        flipped[i] = static_cast<char>(flipped[i] ^ static_cast<int>(1 + random.below(255)));
        ASSERT_NO_THROW(fuzz::run(file + flipped)) << i;
        ASSERT_NO_THROW(fuzz::run(file + good.substr(0, i))) << i;
    }
    ASSERT_NO_THROW(fuzz::run(file + encipher("ORV" + text, other_key)));
    for (int i = 0; i < 100; ++i) {
        ASSERT_NO_THROW(fuzz::run(file + random.bytes(random.below(1000))));
        const std::string nonsense = random.text(random.below(200), "<>/=\"' \nab~ORV");
        ASSERT_NO_THROW(fuzz::run(plaintext + "ORV" + nonsense)) << nonsense;
    }
}

// A load that finds nothing of ours leaves the document as it was, its marker too, and tells of it.
TEST_F(File, LoadsThatDoNotHappen) {
    const auto config = this->config();
    EXPECT_FALSE(config->readV()); // no file
    write_file(path, good);
    EXPECT_TRUE(config->readV());
    config->changed = true;
    config->cipherKey = other_key;
    EXPECT_TRUE(config->readV());
    config->file = directory.file("").c_str();
    EXPECT_FALSE(config->readV());
    config->file = nullptr;
    EXPECT_FALSE(config->readV());
    EXPECT_EQ(text_of(config->doc), text);
    EXPECT_TRUE(config->changed);
    // A key text that is too short is completed with zeros, not with what stands behind it.
    config->file = path.c_str();
    config->cipherKey = "short";
    const std::string padded = std::string("short") + std::string(27, '\0');
    write_file(path, encipher("ORV<x/>", padded.c_str()));
    config->readV();
    EXPECT_STREQ(config->doc.name, "x");
}

} // namespace
