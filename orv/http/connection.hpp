// One TCP connection to a server. Not installed.
#pragma once

#include <orv/http/deadline.hpp>

#include <orv/buffers/str.hpp>

#include <netinet/in.h>

namespace transport {

// Finds the IPv4 address of a host and puts it and the low 16 bits of `port` into `address`, which
// is zero but for its family. The host is read up to its first ":". An empty host is address 0;
// "Any", "0.0.0.0" and whatever else comes to address 0 cannot be resolved. False if the host
// cannot be resolved.
bool resolve(const char* host, long port, sockaddr_in& address);

// A blocking socket, closed when the object goes. Where a call could block for longer than the
// deadline allows, `poll` waits first, so that only `connect` can overrun it.
class connection {
public:
    // Makes the socket. `half_budget` is set as the time-out option of both directions.
    explicit connection(long half_budget);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    bool is_open() const { return socket_ != -1; }
    bool connect(const sockaddr_in& address);
    // Sends everything. False if that failed, which adds a line about `host` to `error`, or if the
    // deadline cut it off, which adds nothing.
    bool send(const char* bytes, unsigned long count, const deadline& limit, const char* host,
              str_t& error);
    // Waits until there is something to receive, be it the end. False if the deadline comes first;
    // what has arrived by then counts even when the deadline has passed.
    bool wait_for_bytes(const deadline& limit) const;
    // What `recv` returns for up to `size` bytes.
    int receive(char* buffer, unsigned long size);

private:
    bool wait_for(short events, const deadline& limit) const;

    int socket_;
    bool is_fresh_ = false; // connected, and nothing sent yet
};

} // namespace transport
