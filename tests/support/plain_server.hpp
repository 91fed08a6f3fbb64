// A web server on loopback that gives every request the same reply, and does nothing that allocates
// while it serves.
#pragma once

#include "loopback.hpp"

#include <cstring>
#include <string>
#include <thread>
#include <unistd.h>

namespace support {

class plain_server {
public:
    // Every reply has status 200 and this body.
    explicit plain_server(const std::string& body)
        : reply_("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " +
                 std::to_string(body.size()) + "\r\n\r\n" + body),
          listener_(bind_loopback(port_)) {
        require(listen(listener_, 64) == 0, "listen");
        url_ = "http://127.0.0.1:" + std::to_string(port_) + "/service";
        thread_ = std::thread([this] { serve(); });
    }
    plain_server(const plain_server&) = delete;
    plain_server& operator=(const plain_server&) = delete;
    ~plain_server() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }

    const char* url() const { return url_.c_str(); }

private:
    void serve() {
        for (int client; (client = accept(listener_, nullptr, nullptr)) != -1; close(client)) {
            if (read_request(client))
                send(client, reply_.data(), reply_.size(), MSG_NOSIGNAL);
            // The client closes first, so that no port of ours waits out the end of a connection.
            shutdown(client, SHUT_WR);
            char rest;
            while (recv(client, &rest, 1, 0) > 0) {
            }
        }
    }

    // A head and as many bytes as it announces.
    bool read_request(int client) {
        unsigned long held = 0;
        for (;;) {
            const long got = recv(client, request_ + held, sizeof request_ - 1 - held, 0);
            if (got <= 0)
                return false;
            held += static_cast<unsigned long>(got);
            request_[held] = 0;
            const char* const end = std::strstr(request_, "\r\n\r\n");
            const char* const length = std::strstr(request_, "\r\nContent-Length: ");
            if (end && length &&
                held >= static_cast<unsigned long>(end + 4 - request_) +
                            std::strtoul(length + 18, nullptr, 10))
                return true;
        }
    }

    std::string reply_;
    std::string url_;
    unsigned short port_;
    int listener_;
    char request_[65536];
    std::thread thread_;
};

} // namespace support
