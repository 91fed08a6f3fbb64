// A server on loopback whose behaviour a test writes down as a function, connection by connection.
#pragma once

#include "loopback.hpp"

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace support {

// The server's end of one connection. Everything returns early once the client has gone or the
// server is being stopped.
class peer {
public:
    peer(int socket, int stop) : socket_(socket), stop_(stop) {}
    peer(const peer&) = delete;
    peer& operator=(const peer&) = delete;
    ~peer(); // closes

    // Reads a whole request, its head and as many bytes as that announces: so many at once, and
    // with so many milliseconds in between.
    void read_request(unsigned long at_once = 65536, int pause = 0);
    // Reads `count` bytes.
    void read(unsigned long count);
    // False if not all of it went out.
    bool send(const std::string& bytes);
    // -1 waits until the server is stopped.
    void wait(int milliseconds);
    // Tells the client that nothing more will be sent.
    void half_close();
    // Makes the end of the connection a reset.
    void reset();
    // Lets the system take in no more than 64 KB that nobody has read.
    void buffer_little();
    // Lets the system acknowledge late what was received.
    void delay_acknowledgements();
    // What was read so far.
    const std::string& received() const { return received_; }

private:
    bool ready(short events);
    bool read_some(unsigned long at_most);

    int socket_;
    int stop_;
    std::string received_;
};

class scripted_server {
public:
    // What is done with one connection; then it is closed.
    using script = std::function<void(peer&)>;

    // The scripts follow one another with the connections; the last one stays.
    explicit scripted_server(std::vector<script> scripts);
    scripted_server(const scripted_server&) = delete;
    scripted_server& operator=(const scripted_server&) = delete;
    ~scripted_server();

    unsigned short port() const { return port_; }
    std::string url(const std::string& path = "/") const;
    // Stops the server, and tells what each connection has received (of the first hundred).
    const std::vector<std::string>& stop();

private:
    void serve();

    std::vector<script> scripts_;
    unsigned short port_;
    int listener_;
    int stop_[2]; // a pipe, in which something stands once the server is to stop
    std::vector<std::string> requests_;
    std::thread thread_;
};

} // namespace support
