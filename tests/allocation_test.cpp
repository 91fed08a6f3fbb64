// What happens when memory runs out: every allocation that an operation makes is made to fail in
// turn, alone and together with all that follow it. The exception has to pass through, nothing may
// leak, what the operation worked on must be as it was (or, where several steps are taken, fit for
// use), and the same operation must work when there is memory again.
#include "support/allocations.hpp"
#include "support/plain_server.hpp"

#include <gtest/gtest.h>
#include <orv/orv.hpp>

#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// The pauses of the library are left out.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t) { return 0; }

namespace {

using support::failure;

enum class then { unchanged, usable };

// `make` returns something to work on, `act` does the work, `show` tells what came of it as text.
template <class Make, class Act, class Show>
void survive(const char* what, then promise, Make make, Act act, Show show) {
    SCOPED_TRACE(what);
    std::string wanted;
    {
        auto state = make();
        act(state);
        wanted = show(state);
    }
    for (const failure kind : {failure::once, failure::lasting}) {
        long failed = 0;
        for (long n = 1; n == 1 || failed != 0; ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            const long before = support::live().blocks;
            {
                auto state = make();
                const std::string old = show(state);
                bool thrown = false;
                support::fail_allocations(kind, n);
                try {
                    act(state);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = support::stop_failing();
                ASSERT_EQ(thrown, failed != 0);
                ASSERT_TRUE(thrown || n > 1) << "nothing was allocated";
                if (thrown) {
                    ASSERT_TRUE(promise == then::usable || show(state) == old);
                    act(state);
                }
                ASSERT_EQ(show(state), wanted);
            }
            ASSERT_EQ(support::live().blocks, before);
        }
    }
}

std::string shown(const str_t& text) { return std::string(text.c_str(), text.length()); }
std::string shown(const bin_t& bytes) { return std::string(bytes.data(), bytes.length()); }

const std::string long_text(5000, 'x');

TEST(Allocation, Text) {
    const auto some = [] { return str_t("some text"); };
    const auto two_holders = [] {
        const str_t text("some text");
        return std::pair<str_t, str_t>(text, text);
    };
    const auto show = [](const str_t& text) { return shown(text); };
    const auto show_two = [](const std::pair<str_t, str_t>& texts) {
        return shown(texts.first) + "|" + shown(texts.second);
    };
    survive(
        "append", then::unchanged, some,
        [](str_t& text) { text.append(long_text.data(), long_text.size()); }, show);
    survive(
        "assign", then::unchanged, some, [](str_t& text) { text = long_text.c_str(); }, show);
    survive(
        "printf", then::unchanged, [] { return str_t(); },
        [](str_t& text) { text.addprintf("%s", long_text.c_str()); }, show);
    survive(
        "reverse", then::unchanged, some, [](str_t& text) { text = text.reverse(); }, show);
    survive(
        "write to a shared text", then::unchanged, two_holders,
        [](auto& texts) { texts.first[0] = 'S'; }, show_two);
    survive(
        "many steps", then::usable, [] { return str_t(); },
        [](str_t& text) {
            str_t made;
            for (int i = 0; i < 2000; ++i)
                (made << "line ").addprintf("%d\n", i).add('.');
            text = made.reverse();
        },
        show);
}

TEST(Allocation, Bytes) {
    const auto some = [] { return bin_t("some\0bytes", 10); };
    const auto show = [](const bin_t& bytes) { return shown(bytes); };
    survive(
        "append", then::unchanged, some,
        [](bin_t& bytes) { bytes.append(long_text.data(), long_text.size()); }, show);
    survive(
        "reverse", then::unchanged, some, [](bin_t& bytes) { bytes = bytes.reverse(); }, show);
    survive(
        "write to shared bytes", then::unchanged,
        [] {
            const bin_t bytes("some\0bytes", 10);
            return std::pair<bin_t, bin_t>(bytes, bytes);
        },
        [](auto& both) { both.first[4] = '-'; },
        [](const auto& both) { return shown(both.first) + "|" + shown(both.second); });
    survive(
        "cipher", then::unchanged, some,
        [](bin_t& bytes) {
            unsigned char key[32] = {};
            const bin_t ciphertext = ORV::aes::encrypt(bytes, key, 256);
            const bin_t plain = ORV::aes::decrypt(ciphertext, key, 256);
            bytes = plain == bytes ? ciphertext : bin_t("wrong", 5);
        },
        show);
}

// The blocks that a dropped stream leaves behind are those of its contract.
TEST(Allocation, Stream) {
    for (long n = 1; n <= 2; ++n) {
        const long before = support::live().blocks;
        stream<0> text;
        text.add("some text");
        support::fail_allocations(failure::once, n);
        bool thrown = false;
        try {
            text.add(long_text.data(), long_text.size());
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        support::stop_failing();
        EXPECT_EQ(thrown, n == 1);
        EXPECT_EQ(text.length(), thrown ? 9 : 9 + long_text.size());
        EXPECT_EQ(support::live().blocks - before, thrown ? 1 : 2);
    }
}

xml::root parsed(const std::string& text) {
    xml::root document;
    xml::buffer* buffer = xml::buffer::create(text.data(), text.size());
    try {
        document.loadTag(buffer, buffer->text());
    } catch (...) {
        buffer->release();
        throw;
    }
    buffer->release();
    return document;
}

std::string shown(const xml::item& document) {
    str_t text;
    document.save(text, 0);
    return shown(text);
}

// In name order or out of it, with more children than are sorted one by one and more attributes
// than a start tag is expected to have.
std::string wide_document(bool ordered) {
    std::string text = "<all>";
    for (int i = 0; i < 100; ++i) {
        const int number = 100 + (ordered ? i : i * 37 % 100);
        const std::string name = "n" + std::to_string(number);
        text += "<" + name;
        for (int k = 10; k < 20; ++k)
            text += " a" + std::to_string(k) + "=\"" + std::to_string(i) + "\"";
        text += "><deep><er>" + name + "</er></deep></" + name + ">";
    }
    return text + "</all>";
}

TEST(Allocation, Tree) {
    // With nothing pending: that is another test.
    const auto document = [] {
        xml::root made = parsed("<r a=\"1\"><b>two</b><c><d>four</d></c></r>");
        made.search("none");
        return made;
    };
    const auto show = [](const xml::item& item) { return shown(item); };
    survive(
        "text", then::unchanged, document, [](xml::root& doc) { doc.setText("new"); }, show);
    survive(
        "get in a list", then::unchanged, document,
        [](xml::root& doc) {
            bool created;
            doc.attributes.get("b", created);
        },
        show);
    survive(
        "set in a list", then::unchanged, document,
        [](xml::root& doc) {
            bool created;
            doc.attributes.set("a", "2", created);
        },
        show);
    survive(
        "add to a list", then::unchanged, document,
        [](xml::root& doc) {
            const xml::item copy(doc);
            doc.attributes.add(copy);
        },
        show);
    survive(
        "copy", then::unchanged, document,
        [](xml::root& doc) {
            const xml::root copy(doc);
            doc = static_cast<const xml::item&>(copy);
        },
        show);
    survive(
        "path", then::usable, document,
        [](xml::root& doc) { doc["c/new/and/deep"]->setText("five"); }, show);
    survive(
        "section and key", then::usable, document,
        [](xml::root& doc) {
            bool created;
            doc.get("x/y", "z", created)->setText("six");
        },
        show);
    survive(
        "search", then::usable, [] { return parsed("<r><s><t>1</t></s><u/></r>"); },
        [](xml::root& doc) {
            // Grown by hand: nothing is pending, and the search has its way back to keep.
            doc = parsed("<r><s><t>1</t></s><u/></r>");
            doc.search("u");
        },
        show);
}

TEST(Allocation, ParseWalkSetSave) {
    for (const bool ordered : {true, false}) {
        const std::string text = wide_document(ordered);
        survive(
            ordered ? "in order" : "out of order", then::usable, [] { return xml::root(); },
            [&](xml::root& doc) {
                doc = parsed(text);
                doc["n150/deep/er"]->setText("changed");
                doc["n100/new"]->setText("made");
                str_t compact;
                str_t lines;
                doc.save(compact, 0);
                doc.saveF(lines, 0);
                doc = parsed(lines.c_str());
            },
            [](const xml::root& doc) { return shown(doc); });
    }
}

// An element whose content could not be taken apart may have lost some of it, and no other has.
TEST(Allocation, ExpansionCostsOneElementAtMost) {
    const std::string text = "<r><a>1</a><b><c>2</c><c x=\"1\">3</c></b><d><e>4</e></d></r>";
    for (long n = 1, failed = 1; failed != 0; ++n) {
        xml::root doc = parsed(text);
        doc["a"];
        support::fail_allocations(failure::lasting, n);
        try {
            doc.get("b", "c");
        } catch (const std::bad_alloc&) {
        }
        failed = support::stop_failing();
        EXPECT_STREQ(doc["a"]->value, "1");
        EXPECT_STREQ(doc["d/e"]->value, "4");
        doc["b/c"]->setText("again");
        EXPECT_STREQ(doc.get("b", "c")->value, "again");
    }
}

TEST(Allocation, Codecs) {
    survive(
        "base64", then::usable, [] { return bin_t(); },
        [](bin_t& bytes) {
            const str_t text = str_t::base64code(long_text.data(), long_text.size(), 76);
            bytes = bin_t::base64decode(text.c_str());
        },
        [](const bin_t& bytes) { return shown(bytes); });
    survive(
        "base32", then::usable, [] { return bin_t(); },
        [](bin_t& bytes) {
            const str_t text = str_t::base32code(long_text.data(), long_text.size(), 5, '-');
            bytes = bin_t::base32decode(text.c_str());
        },
        [](const bin_t& bytes) { return shown(bytes); });
}

TEST(Allocation, ModularPower) {
    survive(
        "modexp2", then::usable, [] { return bin_t(); },
        [](bin_t& bytes) {
            ubigint base, exponent, modulus;
            base.set("a base of some length", 21);
            exponent.set("\x01\x00\x01", 3);
            modulus.set("a modulus of some more length", 29);
            const ubigint power = ubigint::modexp2(base, exponent, modulus);
            const str_t digits = power.toString();
            bytes = power.toBinary(232);
            bytes.append(digits.c_str(), digits.length());
        },
        [](const bin_t& bytes) { return shown(bytes); });
}

// The leak checker of the sanitizers tells the blocks that streams keep from any other; here only
// their number is looked at.
TEST(Allocation, Request) {
    support::plain_server server("<reply><value>42</value></reply>");
    for (const failure kind : {failure::once, failure::lasting}) {
        for (long n = 1, failed = 1; failed != 0; ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            const long before = support::live().blocks;
            {
                xml::root header, body("ask"), reply_header, reply;
                str_t error;
                const auto post = [&] {
                    return ORV::http::request(server.url(), header, body, reply_header, reply,
                                              error, 1000);
                };
                int result = 0;
                bool thrown = false;
                support::fail_allocations(kind, n);
                try {
                    result = post();
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = support::stop_failing();
                ASSERT_EQ(thrown, failed != 0);
                if (thrown)
                    result = post();
                ASSERT_EQ(result, 1);
                ASSERT_STREQ(reply["value"]->value, "42");
            }
            // Of two requests: five streams, one of which is outgrown by the reply.
            ASSERT_LE(support::live().blocks - before, 12);
        }
    }
}

constexpr char key[] = "a key text of which 32 bytes count";

class AllocationInStore : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (std::filesystem::temp_directory_path() / "orv-test-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(name.data()));
        directory_ = name;
        path_ = name + "/app.settings";
    }
    void TearDown() override {
        ORV_close();
        std::filesystem::remove_all(directory_);
    }

    // Saves another document, as another process would, a number of seconds from now.
    void save_other(const char* value, int seconds) {
        ORV::kernel other;
        other.open(path_.c_str(), key);
        other.setString("user", "name", value);
        other.close();
        const timespec when{std::time(nullptr) + seconds, 0};
        const timespec times[] = {when, when};
        utimensat(AT_FDCWD, path_.c_str(), times, 0);
    }

    std::string name_in_file() {
        ORV::sconfig config;
        config.file = path_.c_str();
        config.cipherKey = key;
        if (!config.readV())
            return "(does not load)";
        const xml::item* found = config.doc.get("user", "name");
        return found ? found->value : "(missing)";
    }

    static std::string name_in_store() {
        char text[100];
        int size = sizeof text - 1;
        const std::string found = ORVSC_GetString("user", "name", text, &size, "(default)");
        return found;
    }

    // Waits for something that the worker does.
    template <class Condition>
    static bool comes(Condition condition) {
        for (int looks = 0; looks < 1000; ++looks) {
            if (condition())
                return true;
            const timespec pause{0, 10000000};
            nanosleep(&pause, nullptr);
        }
        return false;
    }

    std::string directory_;
    std::string path_;
};

TEST_F(AllocationInStore, Session) {
    const auto session = [&] {
        if (ORV_open(path_.c_str(), key) != ORV_OPEN_LOADED)
            return;
        ORVSC_SetInt("window/main", "width", 800);
        ORVSC_SetString("user", "name", "Grace");
        ORV_close();
    };
    for (const failure kind : {failure::once, failure::lasting}) {
        for (long n = 1, failed = 1; failed != 0; ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n));
            save_other("Ada", 0);
            const long before = support::live().blocks;
            bool thrown = false;
            support::fail_allocations(kind, n);
            try {
                session();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            failed = support::stop_failing();
            ASSERT_EQ(thrown, failed != 0);
            if (thrown) {
                // The file is whole at any time: what it held, or what was to be saved.
                const std::string name = name_in_file();
                ASSERT_TRUE(name == "Ada" || name == "Grace") << name;
                // An open store goes on.
                if (g_Kernel) {
                    ORVSC_SetString("user", "name", "Joan");
                    ASSERT_EQ(name_in_store(), "Joan");
                }
                session();
            }
            ASSERT_EQ(name_in_file(), "Grace");
            ASSERT_EQ(support::live().blocks, before);
        }
    }
}

// A setting that is there keeps its text if setting it fails; what was only to be made may be
// there, empty.
TEST_F(AllocationInStore, FailedSetKeepsTheOldText) {
    ORV_open(path_.c_str(), key);
    ORVSC_SetString("user", "name", "Ada");
    for (long n = 1, failed = 1; failed != 0; ++n) {
        support::fail_allocations(failure::once, n);
        try {
            ORVSC_SetString("user", "name", "Grace");
        } catch (const std::bad_alloc&) {
        }
        failed = support::stop_failing();
        EXPECT_EQ(name_in_store(), failed ? "Ada" : "Grace");
    }
}

// The worker has nobody to pass an exception to: it tries again, and the process goes on.
TEST_F(AllocationInStore, WorkerTriesAgain) {
    save_other("Ada", 0);
    ORV_open(path_.c_str(), key);
    save_other("Grace", 10);
    support::fail_allocations(failure::of_others, 0);
    EXPECT_TRUE(comes([] { return support::failures() > 1; }));
    EXPECT_EQ(name_in_store(), "Ada");
    support::stop_failing();
    EXPECT_TRUE(comes([] { return name_in_store() == "Grace"; }));
}

} // namespace
