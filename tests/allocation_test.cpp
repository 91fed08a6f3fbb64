// What happens when memory runs out: every allocation that an operation makes is made to fail in
// turn, alone and together with all that follow it. The exception has to pass through, nothing may
// leak, what the operation worked on must be as it was (or, where several steps are taken, fit for
// use), and the same operation must work when there is memory again.
#include "support/allocations.hpp"
#include "support/plain_server.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>
#include <orv/orv.hpp>

#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// The pauses of the library are left out.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t) { return 0; }

namespace {

using support::failure;

enum promise { unchanged, usable };

// An operation on a state, and what a failure may leave of that.
template <class State>
struct operation {
    const char* name;
    promise left;
    void (*run)(State&);
    long kept = 0; // blocks that streams leave behind, by contract
};

template <class State>
void survive(const operation<State>& tried) {
    State undisturbed;
    tried.run(undisturbed);
    const std::string wanted = undisturbed.shown();
    for (const failure kind : {failure::once, failure::lasting}) {
        bool thrown = true;
        for (long n = 1; thrown && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE(tried.name + (", allocation " + std::to_string(n)));
            const long before = support::live().blocks;
            {
                State state;
                const std::string old = state.shown();
                thrown = false;
                support::fail_allocations(kind, n);
                try {
                    tried.run(state);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                EXPECT_EQ(support::stop_failing() != 0, thrown);
                EXPECT_TRUE(thrown || n > 1) << "nothing was allocated";
                if (thrown) {
                    EXPECT_TRUE(tried.left == usable || state.shown() == old) << state.shown();
                    tried.run(state);
                }
                EXPECT_EQ(state.shown(), wanted);
            }
            EXPECT_LE(support::live().blocks - before, tried.kept);
        }
    }
}

// ---- Values

const std::string long_string(5000, 'x');
const char* const long_text = long_string.c_str();
bool created;

// Out of order, with more children than are sorted one by one, and more attributes than a start tag
// is expected to have.
std::string wide_document() {
    std::string text = "<all>";
    for (int i = 0; i < 70; ++i) {
        const std::string name = "n" + std::to_string(100 + i * 37 % 70);
        text += "<" + name + " a=\"1\" b=\"2\" c=\"3\" d=\"4\" e=\"5\" f=\"6\" g=\"7\" h=\"8\">";
        text += "<deep>" + name + "</deep></" + name + ">";
    }
    return text + "</all>";
}

struct values {
    values() {
        root.load("<r a=\"1\"><b>two</b><c><d>four</d></c></r>", 41);
        root.search("none"); // leaves nothing to expand, which is usable only
    }
    std::string shown() const {
        str_t tree;
        root.save(tree, 0);
        return std::string(text.c_str()) + shared.c_str() + lines.c_str() + tree.c_str() +
               std::string(bytes.data(), bytes.length());
    }

    str_t text = "some text", shared = text;
    bin_t bytes{"some\0bytes", 10};
    stream<0> lines;
    xml::root root;
};

const operation<values> operations[] = {
    {"append", unchanged, [](values& of) { of.text.append(long_text, 5000); }},
    {"assign", unchanged, [](values& of) { of.text = long_text; }},
    {"printf", unchanged, [](values& of) { of.text.addprintf("%s", long_text); }},
    {"write to what is shared", unchanged, [](values& of) { of.text[0] = 'S'; }},
    {"add to a stream", unchanged, [](values& of) { of.lines.add(long_text); }, 1},
    {"cipher, codecs, reverse", unchanged,
     [](values& of) {
         unsigned char key[32] = {};
         const bin_t plain = ORV::aes::decrypt(ORV::aes::encrypt(of.bytes, key, 256), key, 256);
         const str_t code = str_t::base64code(plain.data(), plain.length(), 4);
         of.bytes = bin_t::base64decode(code.c_str()).reverse();
     }},
    {"modular power", unchanged,
     [](values& of) {
         ubigint base, exponent, modulus;
         base.set("a base of some length", 21);
         exponent.set("\3", 1);
         modulus.set("a modulus of some more length", 29);
         of.bytes = ubigint::modexp2(base, exponent, modulus).toBinary(232);
     }},
    {"text of an element", unchanged, [](values& of) { of.root.setText("new"); }},
    {"get", unchanged, [](values& of) { of.root.attributes.get("b", created); }},
    {"set", unchanged, [](values& of) { of.root.attributes.set("a", "2", created); }},
    {"add", unchanged, [](values& of) { of.root.attributes.add(xml::item(of.root)); }},
    {"path", usable, [](values& of) { of.root["c/new/and/deep"]->setText("five"); }},
    {"section and key", usable,
     [](values& of) { of.root.get("x/y", "z", created)->setText("six"); }},
    {"parse, walk, set, save", usable,
     [](values& of) {
         static const std::string wide = wide_document();
         of.root.load(wide.data(), wide.size());
         of.root["n150/deep"]->setText("changed");
         of.root["n100/new"]->setText("made");
         str_t lines;
         of.root.saveF(lines, 0);
         of.root.load(lines.c_str(), lines.length());
     }},
    // Two requests keep at most the blocks of five streams, one of which the reply outgrows. The
    // leak checker of the sanitizers tells those from any others.
    {"post", usable,
     [](values& of) {
         static const support::plain_server server("<reply><value>42</value></reply>");
         xml::root header, reply_header;
         str_t error;
         ORV::http::request(server.url(), header, of.root, reply_header, of.root, error, 10000);
     },
     12},
};

TEST(Allocation, Values) {
    for (const operation<values>& tried : operations)
        survive(tried);
}

TEST(Allocation, AStreamThatGoesLeavesItsBlock) {
    const long before = support::live().blocks;
    stream<0>().add("text");
    EXPECT_EQ(support::live().blocks, before + 1); // by contract
}

// ---- The store

constexpr char key[] = "a key text of which 32 bytes count";

std::string name_in_store() {
    char text[100];
    int size = sizeof text - 1;
    return ORVSC_GetString("user", "name", text, &size, "(default)");
}

// A file that another process has saved, and the store of this one, not yet open.
struct store {
    store() { save_other("Ada", 0); }
    store(const store&) = delete;
    store& operator=(const store&) = delete;
    ~store() { ORV_close(); }

    // As another process would, a number of seconds from now.
    void save_other(const char* value, int seconds) const {
        ORV::kernel other;
        other.open(path.c_str(), key);
        other.setString("user", "name", value);
        other.close();
        const timespec when{std::time(nullptr) + seconds, 0};
        const timespec times[] = {when, when};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
    std::string shown() const {
        ORV::sconfig config;
        config.file = path.c_str();
        config.cipherKey = key;
        EXPECT_TRUE(config.readV()); // at any time
        return name_in_store() + ", saved " + config.doc["user/name"]->value;
    }

    temporary_directory directory;
    const std::string path = directory.file();
};

struct open_store : store {
    open_store() { ORV_open(path.c_str(), key); }
};

TEST(Allocation, Stores) {
    survive<store>({"session", usable, [](store& of) {
                        ORV_open(of.path.c_str(), key);
                        ORVSC_SetInt("window/main", "width", 800);
                        ORVSC_SetString("user", "name", "Grace");
                        ORV_close();
                    }});
    survive<store>({"a store that could not be opened is not saved", unchanged, [](store& of) {
                        ORV::kernel opened;
                        try {
                            opened.open(of.path.c_str(), key);
                        } catch (const std::bad_alloc&) {
                            opened.setString("user", "name", "lost");
                            throw;
                        }
                    }});
    survive<open_store>(
        {"set", unchanged, [](open_store&) { ORVSC_SetString("user", "name", "Grace"); }});
}

// Waits for something that the worker does.
bool comes(bool (*happened)()) {
    const timespec pause{0, 10000000};
    for (int looks = 0; looks < 1000 && !happened(); ++looks)
        nanosleep(&pause, nullptr);
    return happened();
}

// The worker has nobody to pass an exception to: it tries again, and the process goes on.
TEST(Allocation, TheWorkerOfAStoreTriesAgain) {
    const open_store opened;
    opened.save_other("Grace", 10);
    support::fail_allocations(failure::of_others, 0);
    EXPECT_TRUE(comes([] { return support::failures() > 1; }));
    EXPECT_EQ(name_in_store(), "Ada");
    support::stop_failing();
    EXPECT_TRUE(comes([] { return name_in_store() == "Grace"; }));
}

} // namespace
