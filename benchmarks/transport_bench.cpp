// What a request costs in the library's own code: the system calls of the transport are replaced by
// ones that return at once, with a reply that is ready. Also counts what a request leaves behind.
#include <orv/http/http.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/times.h>
#include <unistd.h>

namespace {

constexpr int fake_socket = 1000000;
std::string reply;
unsigned long reply_read = 0;

std::string soap(unsigned long size) {
    std::string body;
    for (int i = 0; body.size() + 80 < size; ++i)
        body += "<item" + std::to_string(i) + " n=\"1\">value of the item</item" +
                std::to_string(i) + ">";
    return "<soap:Envelope><soap:Body>" + body + "</soap:Body></soap:Envelope>";
}

// Lets every element have its children, as those of a document made by a program.
void expand(xml::item& element) {
    element.is_set("");
    for (unsigned long i = 0; i < element.children.count; ++i)
        expand(element.children.items[i]);
}

} // namespace

extern "C" {
ORV_API int socket(int, int, int) noexcept { return fake_socket; }
ORV_API int setsockopt(int, int, int, const void*, socklen_t) noexcept { return 0; }
ORV_API int connect(int, const sockaddr*, socklen_t) {
    reply_read = 0;
    return 0;
}
ORV_API int poll(pollfd*, nfds_t, int) { return 1; }
ORV_API ssize_t send(int, const void*, size_t count, int) { return static_cast<ssize_t>(count); }
ORV_API ssize_t recv(int, void* buffer, size_t size, int) {
    const size_t count = std::min<size_t>(size, reply.size() - reply_read);
    std::memcpy(buffer, reply.data() + reply_read, count);
    reply_read += count;
    return static_cast<ssize_t>(count);
}
ORV_API clock_t times(tms*) noexcept { return 1000; }
ORV_API int pthread_sigmask(int, const sigset_t*, sigset_t* old) noexcept {
    return old ? sigemptyset(old) : 0;
}
ORV_API int close(int file) {
    return file == fake_socket ? 0 : static_cast<int>(syscall(SYS_close, file));
}
}

int main() {
    const std::string envelope = soap(2048), answer = soap(4096);
    reply = "HTTP/1.1 200 OK\r\nServer: bench\r\nDate: Sun, 22 Nov 2026 21:25:09 GMT\r\n"
            "Content-Type: text/xml\r\nContent-Length: " +
            std::to_string(answer.size()) + "\r\nConnection: close\r\n\r\n" + answer;

    xml::buffer* text = xml::buffer::create(envelope.data(), envelope.size());
    xml::root body, header, reply_header, reply_body;
    body.loadTag(text, text->text());
    expand(body);
    str_t error;
    const auto post = [&] {
        return ORV::http::request("http://127.0.0.1:8080/service", header, body, reply_header,
                                  reply_body, error, 1000);
    };
    constexpr int rounds = 20, requests = 500;
    // Room for what the requests leave behind, so that the first use of a page is not measured.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_MAX, 0);
    const std::size_t room = 16384ul * (rounds + 1) * requests;
    char* pages = new char[room];
    std::memset(pages, 1, room);
    delete[] pages;

    double best = 1e9;
    for (int i = 0; i < requests; ++i) {
        if (post() != 1)
            return 1;
    }
    const auto kept_before = mallinfo2().uordblks;
    for (int round = 0; round < rounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < requests; ++i)
            post();
        const std::chrono::duration<double, std::micro> time =
            std::chrono::steady_clock::now() - start;
        best = std::min(best, time.count() / requests);
    }
    const auto kept = mallinfo2().uordblks - kept_before;
    std::printf("envelope %zu bytes, reply %zu bytes: %.1f us a request, %zu bytes kept\n",
                envelope.size(), reply.size(), best, kept / (rounds * requests));
    text->release();
}
