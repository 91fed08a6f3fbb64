// The command-line tools as their users meet them: a row is what is typed, the exit status, and
// something of what is said.
#include "support/scripted_server.hpp"
#include "support/settings_file.hpp"
#include "support/temporary_directory.hpp"

#include <gtest/gtest.h>

namespace {

struct row {
    const char* typed;
    int status;
    const char* says;
};

struct Tools : testing::Test {
    Tools() {
        setenv("PATH", (ORV_TOOLS ":" + std::string(getenv("PATH"))).c_str(), 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // stream<0> keeps blocks by contract
        setenv("ORV_SETTINGS_KEY", settings_key, 1);
        setenv("OTHER", "another key text of which 32 bytes count", 1);
        write_file(path("f"), settings_file("ORV<root><a><b>c</b></a><net><proxy><Host>gw</Host>"
                                            "</proxy></net><top>two\n\\lines</top><~ORV/></root>"));
        run("printf \"$ORV_SETTINGS_KEY\\r\\nmore\" >key; echo short >short; :>empty; mkfifo pipe; "
            "printf '<?xml?>\\n<!-- <no> --> <q/>' >doc; echo '<!-- <q/>' >none; head -c64 f >cut");
    }
    std::string path(const char* name) const { return directory.file(name); }
    int run(const std::string& command) {
        std::FILE* pipe = popen(("cd " + path("") + "; (" + command + ") 2>&1").c_str(), "r");
        said.clear();
        for (int c; (c = std::fgetc(pipe)) != EOF;)
            said += static_cast<char>(c);
        return WEXITSTATUS(pclose(pipe));
    }
    void expect(const std::string& before, const std::vector<row>& rows) {
        for (const row& row : rows) {
            EXPECT_EQ(run(before + row.typed), row.status) << row.typed << "\n" << said;
            EXPECT_NE(said.find(row.says), std::string::npos) << row.typed << "\n" << said;
        }
    }

    temporary_directory directory;
    std::string said;
};

TEST_F(Tools, SettingsAreShownAndSet) {
    const std::vector<row> rows = {
        {"get f NET proxy/host", 0, "gw\n"},
        {"--key-file=key list f", 0, "a/b = c\nnet/proxy/Host = gw\ntop = two\\n\\\\lines\n"},
        {"set f n New -5", 0, ""},
        {"list -kkey f", 0, "\nn/New = -5\n"},
        {"set f a b 'a < b > c'", 0, ""},
        {"get -e ORV_SETTINGS_KEY -- f a b", 0, "a < b > c\n"},
        {"set --text f n any ' <a x=\"'", 0, ""},
        {"get -t f n any", 0, " <a x=\"\n"},
        {"list -t f", 0, "n/any =  <a x=\""},
        {"get f n any", 0, "&#32;&lt;a"},
        {"remove f n any", 0, ""},
        {"remove f n any", 1, "n/any is not set"},
        {"remove f n ''", 0, ""},
        {"list f", 0, "c\nnet/proxy/Host = gw\ntop"},
        {"remove f net/proxy host", 0, ""},
        {"list f", 0, "\nnet/proxy = \n"}, // the section is there still
        {"--create set new -a b '</b>'", 2, "invalid option"},
        {"--create set -- new -a b c", 0, ""},
        {"dump new", 0, "<root>\n <-a>\n  <b>\n   c\n"},
        {"-c set empty a b c", 0, ""},
    };
    expect("orv-settings ", rows);
    // Changes at the same moment all last.
    expect("for i in 1 2 3 4 5; do orv-settings set f many $i x & done; wait; orv-settings ",
           {{"list f", 0, "many/1 = x\nmany/2 = x\nmany/3 = x\nmany/4 = x\nmany/5 = x\n"}});
    // A file that another process is saving is waited for.
    expect("cp f copy; :>f; { sleep 0.2; cat copy >f; } & orv-settings ",
           {{"get f a b", 0, "< b"}});
}

TEST_F(Tools, WhatIsRefusedLeavesTheFile) {
    const std::vector<row> rows = {
        // What would not read back, or hide other settings.
        {"set f x y ' c'", 6, "white space"},
        {"set f zz \"it's\" ''", 6, "--text"}, // takes the end mark in
        {"set f net '' v", 6, "\"net/proxy/host\""},
        {"set f '' '' v", 2, "both empty"},
        {"set f net 'proxy host' v", 2, "\"proxy host\" is no name"},
        {"set -t f net \"it's\" v", 2, "no quote"},
        {"remove f '' ~orv", 2, "marks a whole file"},
        {"get f a x", 1, "a/x is not set"},
        // Files.
        {"get '' a b", 2, "no file"},
        {"list no", 3, "No such file"},
        {"set no a b c", 3, "--create"},
        {"set empty a b c", 4, "--create"},
        {"-c set no/f a b c", 6, "No such file"},
        {"list pipe", 4, "not a regular file"},
        {"list key", 4, "not a settings file"},
        {"-e OTHER -c set f a b c", 4, "the key is wrong"},
        {"list cut", 4, "a/b = c\n"},
        {"-c set deep $(printf 'a/%.0s' $(seq 1001)) b c", 4, "nested too deep"},
        {"--help >/dev/full", 7, "No space left"},
        // As on a full disk.
        {"-V; ulimit -f 1; orv-settings set f big x \"$(seq 999)\"", 6, "File too large"},
        // Keys and options.
        {"-k '' list f", 2, "no name"},
        {"-k short list f", 5, "5 bytes"},
        {"", 2, "--help"},
    };
    const std::string f = read_file(path("f")), cut = read_file(path("cut"));
    expect("orv-settings ", rows);
    EXPECT_TRUE(f == read_file(path("f")) && cut == read_file(path("cut")));
}

TEST_F(Tools, Posts) {
    struct {
        const char* reply;
        row expected;
    } const rows[] = {
        {"200 OK\r\nContent-Length: 4\r\n\r\n<a/>", {"$URL doc", 0, "<a/>\n"}},
        {"200 OK\r\n\r\n<a/>",
         {"<doc -H'X-Y: z' $URL -", 0, "warning: the reply does not announce"}},
        {"200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n4\r\n<a/>", {"$URL doc", 0, "chunked"}},
        {"404 No\r\nContent-Length: 0\r\n\r\n", {"-v $URL --seconds=5 doc", 1, "< Code: 404\n"}},
    };
    for (const auto& row : rows) {
        support::scripted_server server({[&](support::peer& client) {
            client.read_request();
            client.send(std::string("HTTP/1.1 ") + row.reply);
        }});
        setenv("URL", server.url().c_str(), 1);
        expect("orv-post ", {row.expected});
        const std::string request = server.stop().at(0);
        EXPECT_EQ(request.substr(request.find("\r\n\r\n")), "\r\n\r\n<q/>");
    }
    const std::vector<row> refused = {
        {"'localhost/\r\nX: y' doc", 3, "localhost/\\r\\nX: y"},
        {"localhost none", 4, "no element"},
        {"localhost .", 4, "Is a directory"},
        {"-H 'X: a\nY: b' localhost", 2, "a header line is"},
        {"-s 0 localhost", 2, "above 0"},
    };
    expect("orv-post ", refused);
}

} // namespace
