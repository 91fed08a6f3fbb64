// Posting a body and reading a reply of 4 KB over the loopback interface, a connection each time,
// to a server in a thread of this process. The floor is what the same exchange takes with bare
// sockets.
//
// Ours renders the request from a document and parses the reply; libcurl is given bytes and hands
// bytes over. What a call leaves behind, as `stream<0>` keeps it by contract, goes to memory that
// has been touched before: how long the system takes to find pages for it is not measured.
#include "service.hpp"

#include <orv/orv.hpp>

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

std::string envelope(unsigned long size) {
    const std::string begin = "<soap:Envelope><soap:Body><text>";
    const std::string end = "</text></soap:Body></soap:Envelope>";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

const service& the_service() {
    static const service made(envelope(4096));
    return made;
}

// Lets the heap grow by so much.
void touch_heap(unsigned long bytes) {
    const std::unique_ptr<char[]> room(new char[bytes]);
    std::memset(room.get(), 1, bytes);
    benchmark::DoNotOptimize(room.get());
}

void post_ours(benchmark::State& state) {
    const std::string url = the_service().url();
    const std::string content = envelope(static_cast<unsigned long>(state.range()));
    xml::root header, body, reply_header, reply_body;
    body.load(content.data(), content.size());
    str_t error;
    touch_heap((3 * content.size() + 20000) * static_cast<unsigned long>(state.max_iterations));
    for (auto _ : state) {
        if (ORV::http::request(url.c_str(), header, body, reply_header, reply_body, error, 1000) !=
            1)
            return state.SkipWithError(error.c_str());
        if (!reply_body.get("soap:Body/text", nullptr))
            return state.SkipWithError("not the reply");
    }
}

unsigned long keep(char* bytes, unsigned long size, unsigned long count, void* out) {
    static_cast<std::string*>(out)->append(bytes, size * count);
    return size * count;
}

void post_libcurl(benchmark::State& state) {
    const std::string url = the_service().url();
    const std::string content = envelope(static_cast<unsigned long>(state.range()));
    const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    std::string received;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, content.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(content.size()));
    curl_easy_setopt(curl.get(), CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, keep);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &received);
    for (auto _ : state) {
        received.clear();
        if (curl_easy_perform(curl.get()) != CURLE_OK || received.size() != 4096)
            return state.SkipWithError("not the reply");
    }
}

void post_bare_sockets(benchmark::State& state) {
    const sockaddr_in& address = the_service().address();
    const std::string content = envelope(static_cast<unsigned long>(state.range()));
    const std::string request = "POST /service HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                "Content-Type: text/xml\r\nContent-Length: " +
                                std::to_string(content.size()) + "\r\n\r\n" + content;
    for (auto _ : state) {
        const int connection = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            return state.SkipWithError("no connection");
        send_all(connection, request);
        char received[2 * 8192];
        for (unsigned long size = 0; size < the_service().reply().size();) {
            const long count = recv(connection, received + size, 8192, 0);
            if (count <= 0)
                return state.SkipWithError("not the reply");
            size += static_cast<unsigned long>(count);
        }
        close(connection);
    }
}

// A set number of times, for each connection takes a port for a while, and each of our calls some
// memory for good.
void exchanges(benchmark::internal::Benchmark* bench) {
    bench->Arg(2048)->Arg(60000)->Arg(1 << 20);
    bench->Iterations(50)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(post_ours)->Name("post/ours")->Apply(exchanges);
BENCHMARK(post_libcurl)->Name("post/libcurl")->Apply(exchanges);
BENCHMARK(post_bare_sockets)->Name("post/bare sockets")->Apply(exchanges);

} // namespace
