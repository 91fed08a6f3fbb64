#include "scripted_server.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace support {

int bind_loopback(unsigned short& port) {
    const int made = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    const auto generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(made, generic, size) != 0 || getsockname(made, generic, &size) != 0)
        throw std::system_error(errno, std::generic_category(), "a port");
    port = ntohs(address.sin_port);
    return made;
}

void occupy(int listener) {
    sockaddr address;
    socklen_t size = sizeof address;
    getsockname(listener, &address, &size);
    for (int i = 0; i < 4; ++i)
        connect(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0), &address, size);
}

bool peer::read_some(unsigned long at_most) {
    char bytes[65536];
    const long got = recv(socket, bytes, std::min(at_most, sizeof bytes), 0);
    received.append(bytes, static_cast<unsigned long>(std::max(got, 0l)));
    return got > 0;
}

void peer::read_request(unsigned long at_once, int pause) {
    unsigned long head, wanted = -1ul;
    while (received.size() < wanted && read_some(std::min(at_once, wanted - received.size()))) {
        if (wanted == -1ul && (head = received.find("\r\n\r\n")) != std::string::npos) {
            const unsigned long length = received.find("\r\nContent-Length: ");
            wanted = head + 4;
            if (length < head)
                wanted += std::strtoul(received.c_str() + length + 18, nullptr, 10);
        }
        wait(pause);
    }
}

bool peer::send(const std::string& bytes) {
    const long sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return sent == static_cast<long>(bytes.size());
}

void peer::wait(int milliseconds) {
    pollfd watched{stop, POLLIN, 0};
    poll(&watched, 1, milliseconds);
}

scripted_server::scripted_server(std::vector<script> scripts)
    : scripts_(std::move(scripts)), listener_(bind_loopback(port_)), stop_(eventfd(0, 0)) {
    listen(listener_, 64);
    thread_ = std::thread([this] { serve(); });
}

scripted_server::~scripted_server() {
    stop();
    close(listener_);
    close(stop_);
}

std::string scripted_server::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

const std::vector<std::string>& scripted_server::stop() {
    if (thread_.joinable()) {
        eventfd_write(stop_, 1);
        thread_.join();
    }
    return requests_;
}

void scripted_server::serve() {
    for (unsigned long number = 0;; ++number) {
        pollfd watched[] = {{listener_, POLLIN, 0}, {stop_, POLLIN, 0}};
        poll(watched, 2, -1);
        if (watched[0].revents == 0) // a client who is there already counts
            return;
        peer client{accept(listener_, nullptr, nullptr), stop_};
        scripts_[std::min<unsigned long>(number, scripts_.size() - 1)](client);
        close(client.socket);
        requests_.push_back(std::move(client.received));
    }
}

} // namespace support
