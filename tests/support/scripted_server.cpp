#include "scripted_server.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::perror(what);
        std::abort();
    }
}

void set_option(int socket, int level, int name, int value) {
    require(setsockopt(socket, level, name, &value, sizeof value) == 0, "setsockopt");
}

// Waits for `stop`. False if it came.
bool pause_until(int stop, int milliseconds) {
    pollfd watched{stop, POLLIN, 0};
    return poll(&watched, 1, milliseconds) == 0;
}

} // namespace

int bind_loopback(unsigned short& port) {
    const int made = socket(AF_INET, SOCK_STREAM, 0);
    require(made != -1, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(bind(made, reinterpret_cast<sockaddr*>(&address), size) == 0, "bind");
    require(getsockname(made, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
    port = ntohs(address.sin_port);
    return made;
}

peer::~peer() { close(socket_); }

bool peer::ready(short events) {
    pollfd watched[] = {{socket_, events, 0}, {stop_, POLLIN, 0}};
    return poll(watched, 2, -1) > 0 && watched[1].revents == 0;
}

bool peer::read_some(unsigned long at_most) {
    const unsigned long before = received_.size();
    received_.resize(before + std::min(at_most, 65536ul));
    const long got =
        ready(POLLIN) ? recv(socket_, received_.data() + before, received_.size() - before, 0) : 0;
    received_.resize(before + static_cast<unsigned long>(std::max(got, 0l)));
    return got > 0;
}

bool peer::read(unsigned long count) {
    for (const unsigned long wanted = received_.size() + count; received_.size() < wanted;) {
        if (!read_some(wanted - received_.size()))
            return false;
    }
    return true;
}

bool peer::read_request() {
    unsigned long head;
    while ((head = received_.find("\r\n\r\n")) == std::string::npos) {
        if (!read_some(4096))
            return false;
    }
    const unsigned long length = received_.find("\r\nContent-Length: ");
    const unsigned long body =
        length < head ? std::strtoul(received_.c_str() + length + 18, nullptr, 10) : 0;
    const unsigned long size = head + 4 + body;
    return received_.size() >= size || read(size - received_.size());
}

bool peer::send(const std::string& bytes) {
    for (unsigned long at = 0; at < bytes.size();) {
        const long sent = ready(POLLOUT) ? ::send(socket_, bytes.data() + at, bytes.size() - at,
                                                  MSG_NOSIGNAL | MSG_DONTWAIT)
                                         : 0;
        if (sent <= 0)
            return false;
        at += static_cast<unsigned long>(sent);
    }
    return true;
}

bool peer::drip(const std::string& bytes, int milliseconds) {
    for (char byte : bytes) {
        if (!wait(milliseconds) || !send(std::string(1, byte)))
            return false;
    }
    return true;
}

bool peer::wait(int milliseconds) { return pause_until(stop_, milliseconds); }

bool peer::wait_until(const std::function<bool()>& condition) {
    while (!condition()) {
        if (!wait(0))
            return false;
        usleep(20);
    }
    return true;
}

void peer::stall() { pause_until(stop_, -1); }

void peer::half_close() { shutdown(socket_, SHUT_WR); }

void peer::reset() {
    const linger at_once{1, 0};
    require(setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once) == 0, "linger");
}

scripted_server::scripted_server(std::vector<script> scripts, int late)
    : scripts_(std::move(scripts)), listener_(bind_loopback(port_)) {
    require(pipe(stop_) == 0, "pipe");
    if (late == 0)
        require(listen(listener_, 64) == 0, "listen");
    thread_ = std::thread([this, late] { serve(late); });
}

scripted_server::~scripted_server() {
    stop();
    close(listener_);
    close(stop_[0]);
    close(stop_[1]);
}

std::string scripted_server::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

const std::vector<std::string>& scripted_server::stop() {
    if (thread_.joinable()) {
        require(write(stop_[1], "", 1) == 1, "write");
        thread_.join();
    }
    return requests_;
}

void scripted_server::serve(int late) {
    if (late != 0) {
        if (!pause_until(stop_[0], late))
            return;
        require(listen(listener_, 64) == 0, "listen");
    }
    for (unsigned long number = 0;; ++number) {
        pollfd watched[] = {{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        poll(watched, 2, -1);
        if (watched[0].revents == 0) // a client who is there already counts
            return;
        const int accepted = accept(listener_, nullptr, nullptr);
        if (accepted == -1)
            continue;
        set_option(accepted, IPPROTO_TCP, TCP_NODELAY, 1);
        peer client(accepted, stop_[0]);
        scripts_[std::min<unsigned long>(number, scripts_.size() - 1)](client);
        if (requests_.size() < 100) // a test may retry thousands of times
            requests_.push_back(client.received());
    }
}

} // namespace support
