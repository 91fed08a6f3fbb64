#include "scripted_server.hpp"

#include <algorithm>
#include <netinet/tcp.h>
#include <poll.h>
#include <unistd.h>

namespace support {

peer::~peer() { close(socket_); }

bool peer::ready(short events) {
    pollfd watched[] = {{socket_, events, 0}, {stop_, POLLIN, 0}};
    return poll(watched, 2, -1) > 0 && watched[1].revents == 0;
}

bool peer::read_some(unsigned long at_most) {
    char bytes[65536];
    const long got = ready(POLLIN) ? recv(socket_, bytes, std::min(at_most, sizeof bytes), 0) : 0;
    received_.append(bytes, static_cast<unsigned long>(std::max(got, 0l)));
    return got > 0;
}

void peer::read(unsigned long count) {
    const unsigned long wanted = received_.size() + count;
    while (received_.size() < wanted && read_some(wanted - received_.size())) {
    }
}

void peer::read_request(unsigned long at_once, int pause) {
    unsigned long head, wanted = -1ul;
    while (received_.size() < wanted && read_some(std::min(at_once, wanted - received_.size()))) {
        if (wanted == -1ul && (head = received_.find("\r\n\r\n")) != std::string::npos) {
            const unsigned long length = received_.find("\r\nContent-Length: ");
            wanted = head + 4;
            if (length < head)
                wanted += std::strtoul(received_.c_str() + length + 18, nullptr, 10);
        }
        if (pause != 0)
            wait(pause);
    }
}

bool peer::send(const std::string& bytes) {
    for (unsigned long at = 0; at < bytes.size();) {
        if (!ready(POLLOUT))
            return false;
        const long sent =
            ::send(socket_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent <= 0)
            return false;
        at += static_cast<unsigned long>(sent);
    }
    return true;
}

void peer::wait(int milliseconds) {
    pollfd watched{stop_, POLLIN, 0};
    poll(&watched, 1, milliseconds);
}

void peer::half_close() { shutdown(socket_, SHUT_WR); }

void peer::reset() {
    const linger at_once{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

void peer::buffer_little() {
    const int room = 1 << 16;
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
}

void peer::delay_acknowledgements() {
    const int at_once = 0;
    setsockopt(socket_, IPPROTO_TCP, TCP_QUICKACK, &at_once, sizeof at_once);
}

scripted_server::scripted_server(std::vector<script> scripts)
    : scripts_(std::move(scripts)), listener_(bind_loopback(port_)) {
    require(pipe(stop_) == 0 && listen(listener_, 64) == 0, "a server");
    thread_ = std::thread([this] { serve(); });
}

scripted_server::~scripted_server() {
    stop();
    for (int file : {listener_, stop_[0], stop_[1]})
        close(file);
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

void scripted_server::serve() {
    for (unsigned long number = 0;; ++number) {
        pollfd watched[] = {{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        poll(watched, 2, -1);
        if (watched[0].revents == 0) // a client who is there already counts
            return;
        const int accepted = accept(listener_, nullptr, nullptr);
        if (accepted == -1)
            continue;
        const int no_delay = 1;
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
        peer client(accepted, stop_[0]);
        scripts_[std::min<unsigned long>(number, scripts_.size() - 1)](client);
        if (requests_.size() < 100) // a test may retry thousands of times
            requests_.push_back(client.received());
    }
}

} // namespace support
