// Posting a body and reading a reply of 4 KB over the loopback interface, a connection each time,
// to a server in a thread of this process. The floor is what the same exchange takes with bare
// sockets.
//
// Ours renders the request from a document and parses the reply; libcurl is given bytes and hands
// bytes over. What a call leaves behind, as `stream<0>` keeps it by contract, goes to memory that
// has been touched before: how long the system takes to find pages for it is not measured.
#include <orv/orv.hpp>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

namespace {

std::string envelope(unsigned long size) {
    const std::string begin = "<soap:Envelope><soap:Body><text>";
    const std::string end = "</text></soap:Body></soap:Envelope>";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

const std::string& reply() {
    static const std::string made =
        "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: 4096\r\n"
        "Connection: close\r\n\r\n" +
        envelope(4096);
    return made;
}

bool send_all(int to, const std::string& bytes) {
    for (unsigned long sent = 0; sent < bytes.size();) {
        const long count = send(to, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += static_cast<unsigned long>(count);
    }
    return true;
}

// Answers one request after the other, for as long as the process runs.
class server {
public:
    server() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* address = reinterpret_cast<sockaddr*>(&address_);
        if (bind(socket_, address, size) != 0 || listen(socket_, 64) != 0 ||
            getsockname(socket_, address, &size) != 0)
            std::abort();
        std::thread([this] { serve(); }).detach();
    }
    const sockaddr_in& address() const { return address_; }
    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + "/service";
    }

private:
    [[noreturn]] void serve() const {
        std::string request; // keeps its room
        for (;;) {
            const int client = accept(socket_, nullptr, nullptr);
            if (read(request, client))
                send_all(client, reply());
            close(client);
        }
    }
    // A request ends with its envelope.
    static bool read(std::string& request, int client) {
        const std::string end = "</soap:Envelope>";
        request.clear();
        char piece[65536];
        for (;;) {
            const long count = recv(client, piece, sizeof piece, 0);
            if (count <= 0)
                return false;
            request.append(piece, static_cast<unsigned long>(count));
            if (request.size() > end.size() &&
                request.compare(request.size() - end.size(), end.size(), end) == 0)
                return true;
        }
    }

    int socket_;
    sockaddr_in address_{};
};

const server& the_server() {
    static const server* const made = new server; // its thread uses it till the end
    return *made;
}

// Lets the heap grow by so much.
void touch_heap(unsigned long bytes) {
    const std::unique_ptr<char[]> room(new char[bytes]);
    std::memset(room.get(), 1, bytes);
    benchmark::DoNotOptimize(room.get());
}

void post_ours(benchmark::State& state) {
    const std::string url = the_server().url();
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
    const std::string url = the_server().url();
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
    const sockaddr_in& address = the_server().address();
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
        for (unsigned long size = 0; size < reply().size();) {
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
