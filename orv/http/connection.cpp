// The socket never blocks: `connect`, `send` and `recv` do at once what can be done at once, and
// what is left waits in `poll`, for no longer than the deadline allows. `send` is given all that is
// left to send; small pieces would wait for a peer that delays its acknowledgements.
#include <orv/http/connection.hpp>

#include <orv/runtime/pipe_signal.hpp>
#include <orv/runtime/platform.hpp>
#include <orv/runtime/trace.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace transport {

namespace {

// Address 0 stands for failure.
in_addr_t find_address(const char* host) {
    if (strcasecmp(host, "Any") == 0 || std::strcmp(host, "0.0.0.0") == 0)
        return 0;
    if (std::strcmp(host, "255.255.255.255") == 0)
        return INADDR_BROADCAST; // as such, though it is also what `inet_addr` says on failure
    const in_addr_t dotted = inet_addr(host);
    return dotted != INADDR_NONE ? dotted : runtime::address_of_host(host);
}

bool would_block(int result) { return result == -1 && (errno == EAGAIN || errno == EWOULDBLOCK); }

} // namespace

bool resolve(const char* host, long port, sockaddr_in& address) {
    if (*host) {
        const std::string name(host, std::strcspn(host, ":"));
        const in_addr_t found = find_address(name.c_str());
        if (found == 0)
            return false;
        address.sin_addr.s_addr = found;
    }
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return true;
}

connection::connection(long half_budget) : socket_(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
    if (!is_open())
        return;
    // An 8-byte integer and no time structure, on purpose; whether the system takes it does not
    // matter.
    const std::int64_t value = half_budget;
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
    ::fcntl(socket_, F_SETFL, O_NONBLOCK);
}

connection::~connection() {
    if (is_open())
        ::close(socket_);
}

bool connection::connect(const sockaddr_in& address, const deadline& limit) {
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return true;
    if (errno != EAGAIN && errno != EINPROGRESS && errno != EISCONN)
        return false;
    int failure = 0;
    socklen_t size = sizeof failure;
    return wait_for(POLLOUT, limit) &&
           ::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &failure, &size) == 0 && failure == 0;
}

bool connection::send(const char* bytes, unsigned long count, const deadline& limit,
                      const char* host, str_t& error) {
    do {
        const int length = static_cast<int>(std::min<unsigned long>(count, INT_MAX));
        const int sent = runtime::send_without_signal(socket_, bytes, length);
        if (sent > 0) {
            ORV_trace6("Was sent %d bytes\n", sent);
            bytes += sent;
            count -= static_cast<unsigned long>(sent);
            if (count == 0)
                return true;
        } else if (!would_block(sent)) {
            ORV_trace6("Can't send %d\n", sent);
            // "recv" and both spaces are kept; so are the lines of earlier attempts.
            error.addprintf("Can't recv data from  server %s", host);
            return false;
        }
    } while (!limit.passed() && wait_for(POLLOUT, limit));
    return false;
}

std::optional<int> connection::receive(char* buffer, unsigned long size, const deadline& limit) {
    while (wait_for(POLLIN, limit)) {
        const int received = static_cast<int>(::recv(socket_, buffer, size, 0));
        if (!would_block(received))
            return received;
        if (limit.passed())
            break;
    }
    return std::nullopt;
}

bool connection::wait_for(short events, const deadline& limit) const {
    pollfd watched{socket_, events, 0};
    do {
        // Errors and the peer's end count as ready; the call that follows reports them. A wait that
        // was interrupted is taken up again.
        if (::poll(&watched, 1, limit.milliseconds_to_wait()) > 0)
            return true;
    } while (!limit.passed());
    return false;
}

} // namespace transport
