// Sockets on loopback, for the servers of the tests.
#pragma once

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>

namespace support {

// Ends the program if something that the tests rest on does not work.
inline void require(bool works, const char* what) {
    if (!works) {
        std::perror(what);
        std::abort();
    }
}

inline sockaddr_in loopback_address(unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Binds a socket to a free port, which it returns.
inline int bind_loopback(unsigned short& port) {
    const int made = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback_address(0);
    socklen_t size = sizeof address;
    const auto generic = reinterpret_cast<sockaddr*>(&address);
    require(bind(made, generic, size) == 0 && getsockname(made, generic, &size) == 0,
            "a port on loopback");
    port = ntohs(address.sin_port);
    return made;
}

// A socket that is connected to a port, or with SOCK_NONBLOCK begins to be.
inline int connect_loopback(unsigned short port, int kind = 0) {
    const int made = socket(AF_INET, SOCK_STREAM | kind, 0);
    const sockaddr_in address = loopback_address(port);
    const int connected =
        connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    require(connected == 0 || kind == SOCK_NONBLOCK, "connect");
    return made;
}

} // namespace support
