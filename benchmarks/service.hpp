// A web service on loopback, in a thread of this process, that gives every request the same reply.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

// It runs until the process ends, and allocates nothing while it serves. The one who asks closes a
// connection first, so that no port of the service waits out its end.
class service {
public:
    // Every reply has status 200 and this body.
    explicit service(const std::string& body) {
        const std::string reply =
            "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
            std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in at{};
        at.sin_family = AF_INET;
        at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof at;
        auto* address = reinterpret_cast<sockaddr*>(&at);
        if (bind(listener, address, size) != 0 || listen(listener, 64) != 0 ||
            getsockname(listener, address, &size) != 0)
            std::abort();
        url_ = "http://127.0.0.1:" + std::to_string(ntohs(at.sin_port)) + "/service";
        std::thread([listener, reply] { serve(listener, reply); }).detach();
    }
    const std::string& url() const { return url_; }

private:
    [[noreturn]] static void serve(int listener, const std::string& reply) {
        for (;;) {
            const int client = accept(listener, nullptr, nullptr);
            if (read_request(client))
                send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
            char rest;
            while (recv(client, &rest, 1, 0) > 0) {
            }
            close(client);
        }
    }

    // A request ends with its envelope.
    static bool read_request(int client) {
        constexpr char end[] = "</soap:Envelope>";
        constexpr unsigned long length = sizeof end - 1;
        char request[8192];
        unsigned long held = 0;
        while (held < length || std::string_view(request + held - length, length) != end) {
            const long got = recv(client, request + held, sizeof request - held, 0);
            if (got <= 0)
                return false;
            held += static_cast<unsigned long>(got);
        }
        return true;
    }

    std::string url_;
};
