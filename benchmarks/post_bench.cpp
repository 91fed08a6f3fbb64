// Posting 2 KB and reading 4 KB over the loopback interface, a connection each time, to a server in
// a thread of this process. The floor is what the same exchange takes with bare sockets; beside it,
// the same with every system call that a request is bound to make (the clock, the options, the
// signal mask, the waits, chunks of 4 KB), which is what our own code is to be held against.
//
// Ours renders the request from a document and parses the reply; libcurl is given bytes and hands
// bytes over.
#include <orv/orv.hpp>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/times.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

namespace {

std::string envelope(unsigned long size) {
    const std::string begin = "<soap:Envelope><soap:Body><text>";
    const std::string end = "</text></soap:Body></soap:Envelope>";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

const std::string& request_body() {
    static const std::string made = envelope(2048);
    return made;
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
        for (;;) {
            const int client = accept(socket_, nullptr, nullptr);
            if (read_request(client))
                send_all(client, reply());
            close(client);
        }
    }
    // A request ends with its envelope.
    static bool read_request(int client) {
        const std::string end = "</soap:Envelope>";
        std::string request;
        char piece[8192];
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

void post_ours(benchmark::State& state) {
    const std::string url = the_server().url();
    xml::root header, body, reply_header, reply_body;
    body.load(request_body().data(), request_body().size());
    str_t error;
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
    const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    std::string received;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, request_body().c_str());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(request_body().size()));
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

// The calls that a request makes beside those of an exchange.
class duties {
public:
    explicit duties(bool all) : all_(all) {}

    void begin(int connection) const {
        const long half_budget = 500;
        for (int n = 0; n < 3; ++n)
            look_at_clock();
        if (all_) {
            setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &half_budget, sizeof half_budget);
            setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &half_budget, sizeof half_budget);
        }
    }
    void mask_signal(int how) const {
        sigset_t pipe_signal;
        sigemptyset(&pipe_signal);
        sigaddset(&pipe_signal, SIGPIPE);
        if (all_)
            pthread_sigmask(how, &pipe_signal, nullptr);
    }
    void look_at_clock() const {
        tms unused;
        if (all_)
            times(&unused);
    }
    void wait(int connection) const {
        pollfd watched{connection, POLLIN, 0};
        if (all_)
            poll(&watched, 1, 1000);
    }
    unsigned long chunk() const { return all_ ? 4095 : 8192; }

private:
    bool all_;
};

void post_floor(benchmark::State& state, bool all_duties) {
    const duties duty(all_duties);
    const sockaddr_in& address = the_server().address();
    const std::string request = "POST /service HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                "Content-Type: text/xml\r\nContent-Length: 2048\r\n\r\n" +
                                request_body();
    for (auto _ : state) {
        const int connection = socket(AF_INET, SOCK_STREAM, 0);
        duty.begin(connection);
        if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            return state.SkipWithError("no connection");
        duty.mask_signal(SIG_BLOCK);
        send_all(connection, request);
        duty.mask_signal(SIG_UNBLOCK);
        char received[2 * 8192];
        for (unsigned long size = 0; size < reply().size();) {
            if (size != 0)
                duty.look_at_clock();
            duty.wait(connection);
            const long count = recv(connection, received + size, duty.chunk(), 0);
            if (count <= 0)
                return state.SkipWithError("not the reply");
            size += static_cast<unsigned long>(count);
        }
        close(connection);
    }
}

// A set number of times, for each connection takes a port for a while.
void exchanges(benchmark::internal::Benchmark* bench) {
    bench->Iterations(500)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(post_ours)->Name("post/ours")->Apply(exchanges);
BENCHMARK(post_libcurl)->Name("post/libcurl")->Apply(exchanges);
BENCHMARK_CAPTURE(post_floor, , false)->Name("post/bare sockets")->Apply(exchanges);
BENCHMARK_CAPTURE(post_floor, , true)->Name("post/bare sockets, same calls")->Apply(exchanges);

} // namespace
