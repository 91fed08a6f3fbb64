// What happens when memory runs out: every allocation that an operation makes is made to fail in
// turn, alone and together with all that follow it. The exception has to pass through, nothing may
// leak, what the operation worked on must be as it was (or, where several steps are taken, fit for
// use), and the same operation must work when there is memory again.
#include "support/allocations.hpp"
#include "support/scripted_server.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>
#include <orv/orv.hpp>

#include <chrono>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <unistd.h>

// The pauses of the library are left out.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t) { return 0; }

namespace {

using std::string;
using support::failure;

enum promise { unchanged, usable };

// An operation on a state, and what a failure may leave of that.
template <class State>
struct operation {
    const char* name;
    promise left;
    void (*run)(State&);
};

template <class State>
void survive(const operation<State>& tried) {
    State undisturbed;
    tried.run(undisturbed);
    for (const failure kind : {failure::once, failure::lasting}) {
        long failed = 1;
        for (long n = 1; failed != 0 && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE(tried.name + (", allocation " + std::to_string(n)));
            const long before = support::live_blocks();
            {
                State state;
                const string old = state.shown();
                bool thrown = false;
                support::fail_allocations(kind, n);
                try {
                    tried.run(state);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = support::stop_failing();
                EXPECT_EQ(failed != 0, thrown);
                EXPECT_TRUE(!thrown || tried.left == usable || state.shown() == old)
                    << state.shown();
                if (thrown)
                    tried.run(state);
                EXPECT_EQ(state.shown(), undisturbed.shown());
            }
            EXPECT_EQ(support::live_blocks(), before);
        }
    }
}

struct values {
    values() {
        root.load("<r a=\"1\"><b>two</b><c><d>four</d></c></r>", 41);
        root.search("none"); // leaves nothing to expand, which is usable only
    }
    string shown() const {
        str_t tree;
        root.save(tree, 0);
        return string(text.c_str()) + shared.c_str() + tree.c_str() +
               string(bytes.data(), bytes.length());
    }

    str_t text = "some text", shared = text;
    bin_t bytes{"some\0bytes", 10};
    xml::root root;
};

const string long_text(5000, 'x');
bool created;

const operation<values> operations[] = {
    {"append", unchanged, [](values& of) { of.text.append(long_text.c_str(), 5000); }},
    {"write to what is shared", unchanged, [](values& of) { of.text[0] = 'S'; }},
    {"cipher, codecs, power, reverse", unchanged,
     [](values& of) {
         unsigned char key[32] = {};
         const bin_t plain = ORV::aes::decrypt(ORV::aes::encrypt(of.bytes, key, 256), key, 256);
         const str_t code = str_t::base64code(plain.data(), plain.length(), 4);
         ubigint number;
         number.set("a number of some length", 23);
         const bin_t power = ubigint::modexp2(number, number, number).toBinary(184);
         of.bytes = bin_t::base64decode(code.c_str()).reverse().append(power.data(), 23);
     }},
    {"text of an element", unchanged, [](values& of) { of.root.setText("new"); }},
    {"set", unchanged, [](values& of) { of.root.attributes.set("a", "2", created); }},
    {"add", unchanged, [](values& of) { of.root.attributes.add(of.root); }},
    {"remove", unchanged, [](values& of) { of.root.remove("b"); }},
    {"copy", unchanged, [](values& of) { of.root = xml::root(of.root); }},
    {"path", usable, [](values& of) { of.root["c/new/and/deep"]->setText("five"); }},
    {"parse and walk", usable,
     [](values& of) {
         // Out of order, and more children and attributes than are expected.
         string wide = "<all>";
         for (int i = 0; i < 70; ++i)
             wide += "<n" + std::to_string(i * 37 % 70) + " a=1 b=2 c=3 d=4 e=5 f=6 g=7 h=8/>";
         of.root.load(wide.data(), wide.size());
         of.root["n50/deep"]->setText("changed");
     }},
};

struct posting : values {
    support::scripted_server server{{[](support::peer& client) {
        client.read_request();
        client.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n<a>42</a>\n");
    }}};
};

TEST(Allocation, Values) {
    for (const operation<values>& tried : operations)
        survive(tried);
    survive<posting>({"post", usable, [](posting& of) {
                          xml::root header, reply_header;
                          str_t error;
                          ORV::http::request(of.server.url().c_str(), header, of.root, reply_header,
                                             of.root, error, 10000);
                      }});

    const long before = support::live_blocks();
    stream<0>().add("text");
    EXPECT_EQ(support::live_blocks(), before + 1); // by contract
}

// Requests that send and receive more each time, by one thread and by more than there are places to
// keep what they use; and ones that are announced more than there is memory, again and again.
TEST(Allocation, RequestsLeaveNothingBehind) {
    const auto post = [](unsigned long posted, unsigned long announced, unsigned long sent,
                         int budget) {
        support::scripted_server server({[&](support::peer& client) {
            client.read_request();
            client.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(announced) +
                        "\r\n\r\n" + string(sent, 'x'));
        }});
        xml::root header, body("a"), reply_header, reply;
        str_t error;
        body.setText(string(posted, 'x').c_str());
        ORV::http::request(server.url().c_str(), header, body, reply_header, reply, error, budget);
    };
    const std::pair<unsigned long, long> rows[] = {{1, 10}, {20, 120}};
    for (const auto& [threads, kept] : rows) {
        long before = 0;
        for (unsigned long size = 1000; size < 2000000; size *= 2) {
            std::vector<std::thread> posting;
            for (unsigned long i = 0; i < threads; ++i) {
                posting.emplace_back([&] {
                    post(size, 2000, 2000, 10000);
                    post(2000, size, size, 10000);
                    post(2000, 2000000000, 1000, 10);
                });
            }
            for (std::thread& one : posting)
                one.join();
            before = size == 2000 ? support::live_blocks() : before;
        }
        EXPECT_LT(support::live_blocks(), before + kept) << threads;
    }
}

// What has been cut up is no content any more: it may be missing, but not be saved as it is.
TEST(Allocation, AnExpansionThatFailsCostsOneElement) {
    const string text = "<r><a><x>1</x></a><b>2</b></r>";
    for (long n = 1, failed = 1; failed != 0; ++n) {
        xml::root document;
        document.load(text.data(), text.size());
        support::fail_allocations(failure::once, n);
        try {
            document.get("a/x", nullptr);
        } catch (const std::bad_alloc&) {
        }
        failed = support::stop_failing();
        str_t saved;
        document.save(saved, 0);
        EXPECT_EQ(std::set<string>({text, "<r><a/><b>2</b></r>", "<r/>"}).count(saved.c_str()), 1u);
    }
}

constexpr char key[] = "a key text of which 32 bytes count";

// A file that another process has saved, and the store of this one, not yet open.
struct store {
    store() { save_other("Ada"); }
    ~store() { ORV_close(); }

    void save_other(const char* value) const {
        ORV::kernel other;
        other.open(path.c_str(), key);
        other.setString("user", "name", value);
    }
    string shown() const {
        ORV::sconfig config;
        config.file = path.c_str();
        config.cipherKey = key;
        EXPECT_TRUE(config.readV()); // at any time
        return config.doc["user/name"]->value;
    }

    temporary_directory directory;
    const string path = directory.file();
};

TEST(Allocation, Stores) {
    survive<store>({"session", usable, [](store& of) {
                        ORV_open(of.path.c_str(), key);
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
}

// The worker has nobody to pass an exception to: it tries again, and the process goes on.
TEST(Allocation, TheWorkerOfAStoreTriesAgain) {
    const store saved;
    ORV_open(saved.path.c_str(), key);
    support::fail_allocations(failure::of_others, 0);
    saved.save_other("Grace");
    std::this_thread::sleep_for(std::chrono::milliseconds(3500)); // it looks each second
    EXPECT_GT(support::stop_failing(), 1);
    char name[100] = "";
    for (int looks = 0; looks < 1000 && std::strcmp(name, "Grace") != 0; ++looks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ORVSC_GetText("user", "name", name, sizeof name, nullptr);
    }
    EXPECT_STREQ(name, "Grace");
}

} // namespace
