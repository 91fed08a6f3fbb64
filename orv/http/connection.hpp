// One TCP connection to a server. Not installed.
#pragma once

#include <orv/runtime/deadline.hpp>

#include <netinet/in.h>

namespace transport {

// Finds the IPv4 address of a host and stores it and the low 16 bits of `port` in `address`, which
// is zero but for its family. The host is read up to its first ":". An empty host is address 0;
// "Any", "0.0.0.0" and anything else that turns out to be address 0 cannot be resolved. False if
// the host cannot be resolved.
bool resolve(const char* host, long port, sockaddr_in& address);

// How an operation ended: it was completed, it failed, or the deadline cut it off.
enum class outcome { done, failed, cut_off };

// A socket, closed when the object is destroyed. No call waits beyond the deadline.
class connection {
public:
    // Creates the socket. `half_budget` is set as the time-out option of both directions.
    connection(const runtime::deadline& limit, long half_budget);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    bool is_open() const { return socket_ != -1; }
    outcome connect(const sockaddr_in& address);
    // Sends everything.
    outcome send(const char* bytes, unsigned long count);
    // Receives up to `size` bytes, as many as have arrived; waits only if there are none.
    // `received` is what `recv` returned: 0 or less is a failure, also if the peer has closed. What
    // has arrived counts even after the deadline, but every 16th call checks that first.
    outcome receive(char* buffer, unsigned long size, int& received);

private:
    bool wait_for(short events) const;

    const runtime::deadline& limit_;
    int socket_;
    unsigned pieces_ = 0; // received so far, including the one awaited
};

} // namespace transport
