// A server on loopback whose behaviour a test writes down as a function, connection by connection.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace support {

// A socket bound to a free port, which it tells.
int bind_loopback(unsigned short& port);
// Makes more connections than may wait at a listener of length 0, so that no other gets through.
void occupy(int listener);

// The server's end of one connection. Reading and sending end early once the client has gone.
struct peer {
    // Reads a whole request, its head and as many bytes as that announces: so many at once, and
    // with so many milliseconds in between.
    void read_request(unsigned long at_once = 65536, int pause = 0);
    // Reads what is there, at least a byte. False at the end.
    bool read_some(unsigned long at_most);
    // False if not all of it went out.
    bool send(const std::string& bytes);
    // Not longer than until the server is stopped; -1 waits for that.
    void wait(int milliseconds);

    int socket;
    int stop;
    std::string received = {}; // so far
};

class scripted_server {
public:
    // What is done with one connection; then it is closed.
    using script = std::function<void(peer&)>;

    // The scripts follow one another with the connections; the last one stays.
    explicit scripted_server(std::vector<script> scripts);
    ~scripted_server();

    unsigned short port() const { return port_; }
    std::string url(const std::string& path = "/") const;
    // Stops the server, and tells what each connection has received.
    const std::vector<std::string>& stop();

private:
    void serve();

    std::vector<script> scripts_;
    unsigned short port_;
    int listener_;
    int stop_; // ready to read once the server is to stop
    std::vector<std::string> requests_;
    std::thread thread_;
};

} // namespace support
