// One TCP connection to a server. Not installed.
#pragma once

#include <orv/http/deadline.hpp>

#include <orv/buffers/str.hpp>

#include <netinet/in.h>
#include <optional>

namespace transport {

// Finds the IPv4 address of a host and puts it and the low 16 bits of `port` into `address`, which
// is zero but for its family. The host is read up to its first ":". An empty host is address 0;
// "Any", "0.0.0.0" and whatever else comes to address 0 cannot be resolved. False if the host
// cannot be resolved.
bool resolve(const char* host, long port, sockaddr_in& address);

// A socket, closed when the object goes. No call outlasts its deadline.
class connection {
public:
    // Makes the socket. `half_budget` is set as the time-out option of both directions.
    explicit connection(long half_budget);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    bool is_open() const { return socket_ != -1; }
    // False if there is no connection, or none until the deadline.
    bool connect(const sockaddr_in& address, const deadline& limit);
    // Sends everything. False if that failed, which adds a line about `host` to `error`, or if the
    // deadline cut it off, which adds nothing.
    bool send(const char* bytes, unsigned long count, const deadline& limit, const char* host,
              str_t& error);
    // What `recv` returns for up to `size` bytes, once there is something to receive, be it the
    // end; nothing if the deadline comes first. What has arrived by then counts even when the
    // deadline has passed.
    std::optional<int> receive(char* buffer, unsigned long size, const deadline& limit);

private:
    bool wait_for(short events, const deadline& limit) const;

    int socket_;
};

} // namespace transport
