// One side of one row: posts a body and reads a reply over the loopback interface, with a new
// connection each time, and prints the average time. The lower bound is the same exchange with bare
// sockets.
//
//     orv_exchange ours 2048 1048576
//
// Ours renders the request from a document, parses the reply and looks up an element one level
// below the envelope. libcurl takes and returns bytes; with pugixml, the reply is also parsed and
// the element looked up. The process has done nothing before, so memory comes from the system, as
// in a host.
#include "samples.hpp"
#include "service.hpp"

#include <orv/orv.hpp>

#include <curl/curl.h>
#include <pugixml.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr int exchanges = 50;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "orv_exchange: %s\n", what);
    std::exit(1);
}

// In one allocation, so that no memory is freed that would make another one cheaper.
std::string envelope(unsigned long size) {
    const std::string_view begin = "<soap:Envelope><soap:Body><text>";
    const std::string_view end = "</text></soap:Body></soap:Envelope>";
    std::string text;
    text.reserve(size);
    return text.append(begin).append(size - begin.size() - end.size(), 'x').append(end);
}

template <class Exchange>
void measure(Exchange exchange) {
    using namespace std::chrono;
    const auto from = steady_clock::now();
    for (int n = 0; n < exchanges; ++n) {
        if (!exchange())
            fail("not the reply");
    }
    const duration<double> took = steady_clock::now() - from;
    std::printf("%.9f\n", took.count() / exchanges);
}

void ours(const service& there, unsigned long sent, unsigned long) {
    const std::string url = there.url(), content = envelope(sent);
    xml::root header, body, reply_header, reply_body;
    body.load(content.data(), content.size());
    str_t error;
    measure([&] {
        return ORV::http::request(url.c_str(), header, body, reply_header, reply_body, error,
                                  1000) == 1 &&
               reply_body.get(samples::one_level_down, nullptr);
    });
}

unsigned long keep(char* bytes, unsigned long size, unsigned long count, void* out) {
    static_cast<std::string*>(out)->append(bytes, size * count);
    return size * count;
}

template <class Read>
void libcurl_and(const service& there, unsigned long sent, Read read) {
    const std::string url = there.url(), content = envelope(sent);
    const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    // Without this header, libcurl does not wait for permission to send a long body.
    const std::unique_ptr<curl_slist, void (*)(curl_slist*)> header(
        curl_slist_append(nullptr, "Expect:"), curl_slist_free_all);
    std::string received;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, header.get());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, content.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(content.size()));
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, keep);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &received);
    measure([&] {
        received.clear();
        return curl_easy_perform(curl.get()) == CURLE_OK && read(received);
    });
}

void libcurl(const service& there, unsigned long sent, unsigned long) {
    libcurl_and(there, sent, [](const std::string& reply) {
        return reply.rfind("</soap:Envelope>") != std::string::npos;
    });
}

void libcurl_pugixml(const service& there, unsigned long sent, unsigned long) {
    pugi::xml_document document;
    libcurl_and(there, sent, [&](std::string& reply) {
        document.load_buffer_inplace(reply.data(), reply.size());
        return !!document.child("soap:Envelope").child("soap:Body");
    });
}

void bare_sockets(const service& there, unsigned long sent, unsigned long asked) {
    const std::string request = "POST /service HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                "Content-Type: text/xml\r\nContent-Length: " +
                                std::to_string(sent) + "\r\n\r\n" + envelope(sent);
    const unsigned long expected = service::reply(samples::reply(asked)).size();
    measure([&] {
        const int connection = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(connection, reinterpret_cast<const sockaddr*>(&there.address()),
                    sizeof there.address()) != 0)
            fail("no connection");
        send_all(connection, request);
        char received[8192];
        unsigned long size = 0;
        for (long count = 1; size < expected && count > 0;
             size += static_cast<unsigned long>(count))
            count = recv(connection, received, sizeof received, 0);
        close(connection);
        return size == expected;
    });
}

struct side {
    const char* name;
    void (*run)(const service& there, unsigned long sent, unsigned long asked);
};

const side sides[] = {{"ours", ours},
                      {"libcurl", libcurl},
                      {"libcurl+pugixml", libcurl_pugixml},
                      {"bare sockets", bare_sockets}};

} // namespace

int main(int count, char** arguments) {
    if (count != 4)
        fail("give a side, a size to send and a size to receive");
    const unsigned long sent = std::strtoul(arguments[2], nullptr, 10);
    const unsigned long asked = std::strtoul(arguments[3], nullptr, 10);
    const service there([=] { return samples::reply(asked); });
    for (const side& each : sides) {
        if (std::strcmp(each.name, arguments[1]) == 0) {
            each.run(there, sent, asked);
            return 0;
        }
    }
    fail("no such side");
}
