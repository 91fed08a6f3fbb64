// A web service on loopback, in a process of its own, that gives every request the same reply.
#pragma once

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

inline bool send_all(int to, const std::string& bytes) {
    for (unsigned long sent = 0; sent < bytes.size();) {
        const long count = send(to, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += static_cast<unsigned long>(count);
    }
    return true;
}

// It answers one request after another for as long as it lives. The process that creates it
// allocates nothing for it.
class service {
public:
    // Every reply has status 200 and the body that `make_body` returns.
    template <class MakeBody>
    explicit service(MakeBody make_body) {
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        auto* address = reinterpret_cast<sockaddr*>(&address_);
        if (bind(listener, address, size) != 0 || listen(listener, 64) != 0 ||
            getsockname(listener, address, &size) != 0 || (process_ = fork()) < 0)
            std::abort();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(listener, reply(make_body()));
        }
        close(listener);
    }
    service(const service&) = delete;
    service& operator=(const service&) = delete;
    ~service() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

    const sockaddr_in& address() const { return address_; }
    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(ntohs(address_.sin_port)) + "/service";
    }
    // A complete reply, head and body.
    static std::string reply(const std::string& body) {
        return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
               std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
    }

private:
    [[noreturn]] static void serve(int listener, const std::string& reply) {
        for (;;) {
            const int client = accept(listener, nullptr, nullptr);
            if (read_request(client))
                send_all(client, reply);
            // The client closes first, so that no connection of the service is left in TIME_WAIT.
            char rest;
            while (recv(client, &rest, 1, 0) > 0) {
            }
            close(client);
        }
    }

    // A request ends with its envelope's end tag; only that many bytes are kept between reads.
    static bool read_request(int client) {
        constexpr std::string_view end = "</soap:Envelope>";
        char request[65536];
        unsigned long held = 0;
        do {
            if (held > end.size()) {
                std::memmove(request, request + held - end.size(), end.size());
                held = end.size();
            }
            const long got = recv(client, request + held, sizeof request - held, 0);
            if (got <= 0)
                return false;
            held += static_cast<unsigned long>(got);
        } while (held < end.size() ||
                 std::string_view(request + held - end.size(), end.size()) != end);
        return true;
    }

    sockaddr_in address_{};
    pid_t process_ = -1;
};
