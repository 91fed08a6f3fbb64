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

enum then { unchanged, usable };

// An operation on a state, and what a failure may leave of that.
template <class State>
struct operation {
    const char* name;
    then promise;
    void (*run)(State&);
};

// Tries one operation on a fresh state with its n-th allocation failing. False if it has no n-th.
template <class State>
bool survives(const operation<State>& tried, failure kind, long n, const std::string& wanted) {
    State state;
    const std::string old = state.shown();
    bool thrown = false;
    support::fail_allocations(kind, n);
    try {
        tried.run(state);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    EXPECT_EQ(support::stop_failing() != 0, thrown);
    EXPECT_TRUE(thrown || n > 1) << "nothing was allocated";
    if (thrown) {
        const std::string left = state.shown();
        EXPECT_TRUE(tried.promise == usable || left == old) << left;
        tried.run(state);
    }
    EXPECT_EQ(state.shown(), wanted);
    return thrown;
}

// With `kept`, the blocks that streams leave behind by contract.
template <class State>
void survive(std::initializer_list<operation<State>> operations, long kept = 0) {
    for (const operation<State>& tried : operations) {
        State undisturbed;
        tried.run(undisturbed);
        const std::string wanted = undisturbed.shown();
        for (const failure kind : {failure::once, failure::lasting}) {
            bool failed = true;
            for (long n = 1; failed; ++n) {
                SCOPED_TRACE(tried.name + (", allocation " + std::to_string(n)));
                const long before = support::live().blocks;
                failed = survives(tried, kind, n, wanted);
                ASSERT_LE(support::live().blocks - before, kept);
                ASSERT_FALSE(testing::Test::HasFailure());
            }
        }
    }
}

const std::string long_text(5000, 'x');

// ---- Texts, bytes and numbers

struct texts {
    std::string shown() const {
        return std::string(one.c_str(), one.length()) + "|" + other.c_str();
    }

    str_t one = "some text";
    str_t other = one; // which shares it
};

struct bytes {
    std::string shown() const {
        return std::string(one.data(), one.length()) + std::string(other.data(), other.length());
    }

    bin_t one{"some\0bytes", 10};
    bin_t other = one;
};

struct streams {
    streams() { one.add("some text"); }
    std::string shown() const { return std::string(one.c_str(), one.length()); }

    stream<0> one;
};

TEST(Allocation, Texts) {
    survive<texts>({
        {"append", unchanged, [](texts& of) { of.one.append(long_text.data(), long_text.size()); }},
        {"assign", unchanged, [](texts& of) { of.one = long_text.c_str(); }},
        {"printf", unchanged, [](texts& of) { of.one.addprintf("%s", long_text.c_str()); }},
        {"reverse", unchanged, [](texts& of) { of.one = of.one.reverse(); }},
        {"write to what is shared", unchanged, [](texts& of) { of.one[0] = 'S'; }},
        {"many steps", usable,
         [](texts& of) {
             str_t made;
             for (int i = 0; i < 2000; ++i)
                 (made << "line ").addprintf("%d\n", i).add('.');
             of.one = made.reverse();
         }},
    });
    survive<streams>(
        {{"add", unchanged, [](streams& of) { of.one.add(long_text.data(), long_text.size()); }}},
        2);
}

TEST(Allocation, Bytes) {
    survive<bytes>({
        {"append", unchanged, [](bytes& of) { of.one.append(long_text.data(), long_text.size()); }},
        {"reverse", unchanged, [](bytes& of) { of.one = of.one.reverse(); }},
        {"write to what is shared", unchanged, [](bytes& of) { of.one[4] = '-'; }},
        {"cipher", unchanged,
         [](bytes& of) {
             unsigned char key[32] = {};
             const bin_t ciphertext = ORV::aes::encrypt(of.other, key, 256);
             const bin_t plain = ORV::aes::decrypt(ciphertext, key, 256);
             of.one = plain == of.other ? ciphertext : bin_t();
         }},
        {"base64", usable,
         [](bytes& of) {
             const str_t text = str_t::base64code(long_text.data(), long_text.size(), 76);
             of.one = bin_t::base64decode(text.c_str());
         }},
        {"base32", usable,
         [](bytes& of) {
             const str_t text = str_t::base32code(long_text.data(), long_text.size(), 5, '-');
             of.one = bin_t::base32decode(text.c_str());
         }},
        {"modular power", usable,
         [](bytes& of) {
             ubigint base, exponent, modulus;
             base.set("a base of some length", 21);
             exponent.set("\x01\x00\x01", 3);
             modulus.set("a modulus of some more length", 29);
             const ubigint power = ubigint::modexp2(base, exponent, modulus);
             const str_t digits = power.toString();
             of.one = power.toBinary(232);
             of.other = bin_t(digits.c_str(), digits.length());
         }},
    });
}

// ---- Trees

xml::root parsed(const std::string& text) {
    xml::root document;
    document.load(text.data(), text.size());
    return document;
}

struct document {
    document() { root.search("none"); } // leaves nothing to expand: that is another test
    std::string shown() const {
        str_t text;
        root.save(text, 0);
        return text.c_str();
    }

    xml::root root = parsed("<r a=\"1\"><b>two</b><c><d>four</d></c></r>");
};

// In name order or out of it, with more children than are sorted one by one and more attributes
// than a start tag is expected to have.
std::string wide_document(bool ordered) {
    std::string text = "<all>";
    for (int i = 0; i < 100; ++i) {
        const std::string name = "n" + std::to_string(100 + (ordered ? i : i * 37 % 100));
        text += "<" + name;
        for (int k = 10; k < 20; ++k)
            text += " a" + std::to_string(k) + "=\"" + std::to_string(i) + "\"";
        text += "><deep><er>" + name + "</er></deep></" + name + ">";
    }
    return text + "</all>";
}
const std::string in_order = wide_document(true), out_of_order = wide_document(false);

void parse_walk_set_save(xml::root& doc, const std::string& text) {
    doc = parsed(text);
    doc["n150/deep/er"]->setText("changed");
    doc["n100/new"]->setText("made");
    str_t compact, lines;
    doc.save(compact, 0);
    doc.saveF(lines, 0);
    doc = parsed(lines.c_str());
}

TEST(Allocation, Trees) {
    static bool created;
    survive<document>({
        {"text", unchanged, [](document& of) { of.root.setText("new"); }},
        {"get in a list", unchanged, [](document& of) { of.root.attributes.get("b", created); }},
        {"set in a list", unchanged,
         [](document& of) { of.root.attributes.set("a", "2", created); }},
        {"add to a list", unchanged,
         [](document& of) { of.root.attributes.add(xml::item(of.root)); }},
        {"path", usable, [](document& of) { of.root["c/new/and/deep"]->setText("five"); }},
        {"section and key", usable,
         [](document& of) { of.root.get("x/y", "z", created)->setText("six"); }},
        {"search", usable,
         [](document& of) {
             of.root = parsed("<r><s><t>1</t></s><u/></r>");
             of.root.search("u");
         }},
        {"in order", usable, [](document& of) { parse_walk_set_save(of.root, in_order); }},
        {"out of order", usable, [](document& of) { parse_walk_set_save(of.root, out_of_order); }},
    });
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

// ---- Requests

const support::plain_server* server;

struct exchange {
    std::string shown() const {
        str_t text(error);
        reply.save(text, 0);
        return text.c_str();
    }

    xml::root header, body{"ask"}, reply_header, reply;
    str_t error;
};

// The leak checker of the sanitizers tells the blocks that streams keep from any other; here only
// their number is looked at. Of two requests: five streams, one of which is outgrown by the reply.
TEST(Allocation, Requests) {
    const support::plain_server answers("<reply><value>42</value></reply>");
    server = &answers;
    survive<exchange>({{"post", usable,
                        [](exchange& of) {
                            ORV::http::request(server->url(), of.header, of.body, of.reply_header,
                                               of.reply, of.error, 10000);
                        }}},
                      12);
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
    survive<store>({
        {"session", usable,
         [](store& of) {
             ORV_open(of.path.c_str(), key);
             ORVSC_SetInt("window/main", "width", 800);
             ORVSC_SetString("user", "name", "Grace");
             ORV_close();
         }},
        {"a store that could not be opened is not saved", unchanged,
         [](store& of) {
             ORV::kernel opened;
             try {
                 opened.open(of.path.c_str(), key);
             } catch (const std::bad_alloc&) {
                 opened.setString("user", "name", "lost");
                 throw;
             }
         }},
    });
    survive<open_store>(
        {{"set", unchanged, [](open_store&) { ORVSC_SetString("user", "name", "Grace"); }}});
}

// Waits for something that the worker does.
template <class Condition>
bool comes(Condition condition) {
    for (int looks = 0; looks < 1000 && !condition(); ++looks) {
        const timespec pause{0, 10000000};
        nanosleep(&pause, nullptr);
    }
    return condition();
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
