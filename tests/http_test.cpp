// The web-service client: URLs, the request on the wire, every way an exchange can go, traces,
// (What becomes of a reply is tested by its fuzz target.)
#include <orv/http/http.hpp>

#include <orv/runtime/trace.h>

#include "support/page.hpp"
#include "support/scripted_server.hpp"
#include "support/time_of.hpp"
#include "support/trace_recorder.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <netdb.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

// The one name server of this program knows all names but that of nobody, and answers at length.
extern "C" ORV_API int gethostbyname_r(const char* name, hostent* host, char*, size_t room,
                                       hostent** answer, int*) {
    static char loopback[] = {127, 0, 0, 1};
    static char* addresses[] = {loopback, nullptr};
    if (room < 5000)
        return ERANGE;
    host->h_addr_list = addresses;
    *answer = std::strcmp(name, "nobody.example") != 0 ? host : nullptr;
    return 0;
}

// How many times more `poll` claims on this thread that all is ready, as systems sometimes do, or
// is interrupted by a signal of the host.
thread_local int false_alarms = 0;

extern "C" ORV_API int poll(pollfd* watched, nfds_t count, int milliseconds) {
    if (false_alarms > 0) {
        --false_alarms;
        watched->revents = POLLIN | POLLOUT;
        errno = EINTR;
        return false_alarms % 2 == 0 ? 1 : -1;
    }
    const timespec time{milliseconds / 1000, milliseconds % 1000 * 1000000};
    return ppoll(watched, count, milliseconds < 0 ? nullptr : &time, nullptr);
}

namespace {

using support::peer;
using support::scripted_server;
using script = scripted_server::script;
const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: ";
const std::string ok = head + "4\r\n\r\n<a/>";
const std::string not_received = "Can't recv data from  server 127.0.0.1";
const std::string not_sent = "Can't send data to server 127.0.0.1";
constexpr int plenty = 20000; // milliseconds, for what is going to be answered

// What a connection does before it is closed.
script answers(const std::string& reply, int waits = 0) {
    return [reply, waits](peer& client) {
        client.read_request();
        client.send(reply);
        client.wait(waits);
    };
}
void stalls(peer& client) { client.wait(-1); }
void reads_slowly(peer& client) {
    client.read_request(4096, 10);
    client.send(ok);
}
void resets(peer& client) { client.read_some(1000); } // more has come when it is closed

std::string saved(const xml::item& document) {
    str_t text;
    document.save(text, 0);
    return text.c_str();
}

// A text of which no two parts are the same, and which no socket takes at once.
std::string make_big() {
    std::string text;
    while (text.size() < 10 << 20)
        text += std::to_string(text.size()) + " ";
    return text;
}
const std::string big = make_big();

// One call with its documents.
struct call {
    explicit call(unsigned long size = 0) { body.setText(big.substr(0, size).c_str()); }
    int post(const std::string& url, int budget = plenty) {
        return ORV::http::request(url.c_str(), header, body, reply_header, reply_body, error,
                                  budget / 10);
    }
    xml::root header{"header"}, body{"soap:Envelope"}, reply_header{"reply"}, reply_body;
    str_t error;
};

std::string loopback(unsigned short port) { return "127.0.0.1:" + std::to_string(port); }

unsigned short refusing; // a port, which nobody listens to
const int nobody = support::bind_loopback(refusing);

// ---- URLs

TEST(Url, Splitting) {
    const struct {
        const char* url;
        const char* parts; // scheme, host, port, path
    } rows[] = {
        {"https://h", "http h 80 /"},
        {"ftp://h/x?y=1:2/z#f", "http h 80 /x?y=1:2/z#f"},
        {"http://a:1:2/x", "http a 1 /x"},
        {"http://:81:82/", "http :81 82 /"}, // the first character of the host is not examined
        {"http://h:/x", "http h 0 /"},       // nor is that of the port
        {"http:///x/y", "http /x 80 /y"},
        {"a text on the heap:/", "http localhost 80 /"}, // the host mark lies behind the end
        {"//h/x", "http localhost 80 //h/x"},
        {":4294967377x", "http localhost 81 /"}, // 2^32 + 81
        {nullptr, "http localhost 81 /"},        // leaves all as it was
    };
    stream<0> scheme, host, path;
    long port = -1;
    for (const auto& row : rows) {
        EXPECT_EQ(ORV::http::parce(row.url, scheme, host, port, path), row.url != nullptr);
        str_t parts;
        parts.addprintf("%s %s %ld %s", scheme.c_str(), host.c_str(), port, path.c_str());
        EXPECT_STREQ(parts.c_str(), row.parts) << row.url;
    }
}

// ---- The request

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// What the server receives, with PORT for its port; both times, as it breaks off its first reply.
std::string posted(call& c, const std::string& path) {
    scripted_server server({answers(head + "9\r\nX-First: 1\r\n\r\n<"), answers(ok)});
    EXPECT_EQ(c.post(server.url(path)), 1) << c.error.c_str();
    EXPECT_EQ(saved(c.reply_header), "<reply><Code>200</Code><Content-Length>4</Content-Length>"
                                     "<Status>200 OK</Status></reply>");
    const std::vector<std::string> requests = server.stop();
    EXPECT_EQ(requests.at(0), requests.at(1));
    return replaced(requests[0], ":" + std::to_string(server.port()) + "\r", ":PORT\r");
}

TEST(Request, IsTheDocumentedExample) {
    call c;
    c.header["SOAPAction"]->setText("\"urn:add\"");
    c.body["soap:Body/add/a"]->setText("2");
    c.body["soap:Body/add/b"]->setText("3");
    EXPECT_EQ(replaced(posted(c, "/calculator"), "127.0.0.1:PORT", "calculator.example:8080"),
              replaced(block_of_page("transport.md", "request"), "\n", "\r\n"));
}

TEST(Request, LinesGoOutAsTheyStandAndServeAgain) {
    call c;
    c.header["user-agent"]->setText("mine"); // no second one
    c.header["X-Two"]->setText("a\r\nX-Injected: b");
    c.header["X-Two"]->name = "X-Two=2";     // it ends at its delimiter
    c.header["Pragma/nested"]->setText("x"); // there, without a text of its own
    c.header["content-length"]->setText("99");
    bool created;
    c.header.get("Accept", nullptr, created)->value = nullptr;
    c.body.name = nullptr; // renders as nothing
    const char expected[] = "POST /p q?r HTTP/1.1\r\n"
                            "Accept: \r\n"
                            "Cache-Control: no-cache\r\n"
                            "Connection: keep-alive\r\n"
                            "content-length: 0\r\n"
                            "Content-Type: text/xml; charset=UTF-8\r\n"
                            "HOST: 127.0.0.1:PORT\r\n"
                            "Pragma: \r\n"
                            "SOAPAction: \"\"\r\n"
                            "user-agent: mine\r\n"
                            "X-Two: a\r\nX-Injected: b\r\n\r\n";
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(posted(c, "/p q?r"), expected);
}

// ---- How exchanges go

long open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

struct exchange {
    const char* name;
    int budget; // milliseconds; plenty for what is answered
    std::vector<script> scripts;
    std::string error; // "old" before
    unsigned long envelope = 0;
};

void expect(const exchange& row) {
    call c(row.envelope);
    c.error = "old";
    c.reply_body["old"]->setText("");
    scripted_server server(row.scripts);
    take_traces();
    false_alarms = 4; // one for the connection; what would block then is no failure
    EXPECT_EQ(c.post(server.url(), row.budget), row.error == "200 OK");
    false_alarms = 0;
    EXPECT_STREQ(c.error.c_str(), row.error.c_str());
    EXPECT_EQ(c.reply_body.is_set("old"), row.budget != plenty);
    if (row.error == "200 OK") { // all has arrived, at the first attempt and in few pieces
        const std::string last = server.stop().back(), body = saved(c.body);
        EXPECT_EQ(last.substr(last.size() - body.size()), body);
        unsigned long pieces = 0;
        for (const traced& line : take_traces())
            pieces += line.format == "Was sent %d bytes\n";
        EXPECT_LE(pieces, 2 + (row.envelope >> 15));
    }
}

TEST(Exchange, ByEveryKindOfServer) {
    const script never_ends = [](peer& client) {
        for (client.read_request(); client.send(big);)
            client.wait(1);
    };
    const std::string long_reply = head + std::to_string(big.size()) + "\r\n\r\n" + big;
    const exchange rows[] = {
        {"answers at length", plenty, {answers(long_reply)}, "200 OK"},
        {"answers in few words", plenty, {answers("\r\n\r\n<a/>")}, ""},
        {"reads at once, 10 MB", plenty, {answers(ok)}, "200 OK", 10 << 20},
        {"reads slowly, 60 KB", plenty, {reads_slowly}, "200 OK", 60000},
        {"reads slowly, 10 MB", 100, {reads_slowly}, "old", 10 << 20},
        {"resets twice, then stalls",
         300,
         {resets, resets, stalls},
         "old" + not_received + not_received,
         10 << 20},
        {"closes, then stalls", 100, {answers(""), stalls}, not_received},
        {"stalls in the body", 100, {answers(head + "5\r\n\r\n<a/>", -1)}, "old"},
        {"never ends the head", 100, {never_ends}, "old"},
    };
    const long open_before = open_files();
    for (const exchange& row : rows) {
        SCOPED_TRACE(row.name);
        const double most = row.budget + 400 + static_cast<double>(row.envelope >> 11);
        double time = most + 1;
        for (int tries = 0; tries < 5 && time > most; ++tries) // the machine may be busy
            time = time_of([&row] { expect(row); });
        EXPECT_LE(time, most);
        EXPECT_GE(time, row.budget == plenty ? 0 : row.budget - 20); // a tick is 10 ms
    }
    EXPECT_EQ(open_files(), open_before);
}

TEST(Exchange, WithoutAConnection) {
    unsigned short full;
    const int busy = support::bind_loopback(full);
    listen(busy, 0);
    support::occupy(busy);
    const std::string port = ":" + std::to_string(refusing); // is not even tried
    const std::string no_name = "Can't resolve server name ", none = "no connection";
    rlimit files;
    getrlimit(RLIMIT_NOFILE, &files);
    const struct {
        std::string url;
        int budget, result;
        std::string error;
        rlim_t files = 1000;
    } rows[] = {
        {"", plenty, -1, "old"},
        {"Any" + port, plenty, 0, no_name + "Any"},
        {"0" + port, plenty, 0, no_name + "0"},
        {"http://:known.example" + port, 250, 0, none},
        {"nobody.example" + port, plenty, 0, no_name + "nobody.example"},
        {loopback(refusing), 0, 0, "old"},
        {loopback(refusing), -1000, 0, not_sent},
        {loopback(refusing), plenty, 0, not_sent, 3}, // there is no socket to be had
        {"known.example" + port, 250, 0, none},
        {loopback(full), 500, 0, none},   // and not until the system gives up
        {"255.255.255.255", 50, 0, none}, // an address, if one that cannot be reached
    };
    const long open_before = open_files();
    for (const auto& row : rows) {
        call c;
        c.error = row.error == not_sent ? "" : "old";
        files.rlim_cur = row.files;
        setrlimit(RLIMIT_NOFILE, &files);
        const double time = time_of([&] { EXPECT_EQ(c.post(row.url, row.budget), row.result); });
        std::string error = c.error.c_str();
        if (error.rfind("The application cannot connect to the server.\n", 0) == 0 &&
            error.find("3. ") == error.rfind("3. ")) // once, not once for each attempt
            error = none;
        EXPECT_EQ(error, row.error);
        EXPECT_GE(time, row.error == none ? row.budget - 20 : 0) << row.url;
        EXPECT_LE(time, row.error == none ? row.budget + 1500 : plenty / 2) << row.url;
        if (row.result == -1) {
            EXPECT_EQ(saved(c.reply_header), "<reply><error>Invalid URL:</error></reply>");
            EXPECT_EQ(saved(c.header), "<header/>"); // no defaults yet
        }
    }
    EXPECT_EQ(open_files(), open_before);
    close(busy);
}

// A server that is reached, closes at once, and then refuses, or is slow to be reached again: of
// these only a refusal says more than what came before.
TEST(Exchange, AConnectionThatIsCutOffHidesNoReason) {
    for (const bool refuses : {true, false}) {
        unsigned short port;
        const int listener = support::bind_loopback(port);
        listen(listener, 0);
        std::thread server([&] {
            close(accept(listener, nullptr, nullptr));
            refuses ? void(close(listener)) : support::occupy(listener);
        });
        call c;
        EXPECT_EQ(c.post(loopback(port), 300), 0);
        server.join();
        EXPECT_EQ(c.error.c_str() == not_received, !refuses) << c.error.c_str();
    }
}

// ---- Trace lines

// The formats of those that one call makes.
std::string traces(const std::string& url, int budget = plenty) {
    call c;
    take_traces();
    c.post(url, budget);
    std::string formats;
    for (const traced& line : take_traces()) {
        EXPECT_EQ(line.code, 0x1006u);
        formats += line.format;
    }
    return formats;
}

TEST(Trace, OfEachStep) {
    const std::string url = "URL %s\n";
    const std::string before = url + "Send header:\n%s\nSend request:\n%s\nTime %d < %d";
    const std::string attempt = "Set options to connect\nTry to connect\n";
    const std::string sent = "Try to send\nWas sent %d bytes\nTry to recv\n";
    const std::string success =
        attempt + sent + "Was recv %d bytes\nRecv header:\n%s\nRecv request:\n%s\n";
    scripted_server at_last({answers(""), answers(ok)});
    EXPECT_EQ(traces(""), url);
    EXPECT_EQ(traces("Any"), before + attempt + "Can't resolve server name %s");
    EXPECT_EQ(traces(loopback(refusing), 50), before + attempt + "Can't connect to server %s");
    EXPECT_EQ(traces(at_last.url()), before + attempt + sent + "Can't recv %d\n" + success);

    xml::root both("one");
    str_t error;
    ORV::http::request(at_last.url().c_str(), both, both, both, both, error, 0);
    // With the header lines, which have been set since the body was rendered.
    EXPECT_EQ(take_traces().at(2).text, "Send request:\n" + saved(both) + "\n");
}

} // namespace
