// The socket never blocks: `connect`, `send` and `recv` do what they can immediately, and the rest
// waits in `poll`, for no longer than the deadline allows. `send` is given all that is left; small
// pieces would wait for a peer that delays its acknowledgements.
#include <orv/http/connection.hpp>

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

// Address 0 means failure.
in_addr_t find_address(const char* host) {
    if (strcasecmp(host, "Any") == 0 || std::strcmp(host, "0.0.0.0") == 0)
        return 0;
    if (std::strcmp(host, "255.255.255.255") == 0)
        return INADDR_BROADCAST; // valid, though `inet_addr` also returns it on failure
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

connection::connection(const runtime::deadline& limit, long half_budget)
    : limit_(limit), socket_(runtime::tcp_socket()) {
    if (!is_open())
        return;
    // An 8-byte integer rather than a time structure, on purpose; whether the system accepts it
    // does not matter.
    const std::int64_t value = half_budget;
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof value);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof value);
    ::fcntl(socket_, F_SETFL, O_NONBLOCK);
}

connection::~connection() {
    if (is_open())
        ::close(socket_);
}

outcome connection::connect(const sockaddr_in& address) {
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return outcome::done;
    if (errno != EAGAIN && errno != EINPROGRESS && errno != EISCONN)
        return outcome::failed;
    if (!wait_for(POLLOUT))
        return outcome::cut_off;
    int failure = 0;
    socklen_t size = sizeof failure;
    if (::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &failure, &size) != 0 || failure != 0)
        return outcome::failed;
    return outcome::done;
}

outcome connection::send(const char* bytes, unsigned long count) {
    do {
        const int length = static_cast<int>(std::min<unsigned long>(count, INT_MAX));
        const int sent = runtime::send_without_signal(socket_, bytes, length);
        if (sent > 0) {
            ORV_trace6("Was sent %d bytes\n", sent);
            bytes += sent;
            count -= static_cast<unsigned long>(sent);
            if (count == 0)
                return outcome::done;
        } else if (!would_block(sent)) {
            ORV_trace6("Can't send %d\n", sent);
            return outcome::failed;
        }
    } while (!limit_.passed() && wait_for(POLLOUT));
    return outcome::cut_off;
}

outcome connection::receive(char* buffer, unsigned long size, int& received) {
    // Pieces that follow one another without a wait take only microseconds; only one in so many
    // checks the clock, in case a server sends without end.
    constexpr unsigned between_looks = 16;
    if (++pieces_ % between_looks == 0 && limit_.passed())
        return outcome::cut_off;
    for (bool has_waited = false;; has_waited = true) {
        received = static_cast<int>(::recv(socket_, buffer, size, 0));
        if (!would_block(received))
            return received > 0 ? outcome::done : outcome::failed;
        const bool is_late = (pieces_ > 1 || has_waited) && limit_.passed();
        if (is_late || !wait_for(POLLIN))
            return outcome::cut_off;
    }
}

// False if the deadline has passed. Errors and a connection closed by the peer count as ready; the
// call that follows reports them. An interrupted wait is resumed.
bool connection::wait_for(short events) const {
    pollfd watched{socket_, events, 0};
    while (::poll(&watched, 1, limit_.milliseconds_to_wait()) <= 0) {
        if (limit_.passed())
            return false;
    }
    return true;
}

} // namespace transport
