// A small SOAP service on loopback, for trying out the client: it adds two numbers, and has a price
// for everything.
//
//     orv-soap-service [PORT]
//
// Listens on 127.0.0.1, on a free port if none is given, and prints the port as its first line.
// Some services send an XML declaration and some do not: this one does with a sum, but not with a
// fault. It answers one connection after the other until it is killed:
//
//     POST /calculator with <a>2</a> and <b>3</b> in its body    200 and an envelope with the sum
//     the same without one of the numbers                         500 and a SOAP fault
//     POST /prices with <Item>apples</Item> in its body           200, the item and its price
//     POST /fault                                                 500 and a SOAP fault
//     anything else                                               404
#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// The text of the first element of that name; empty if there is none.
std::string text_of(const std::string& xml, const std::string& name) {
    const auto start = xml.find("<" + name + ">");
    const auto end = xml.find("</" + name + ">");
    if (start == std::string::npos || end == std::string::npos || end < start)
        return "";
    const auto text = start + name.size() + 2;
    return xml.substr(text, end - text);
}

std::string reply(const char* status, const std::string& content, const char* declaration = "") {
    const std::string body =
        declaration + ("<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">"
                       "<soap:Body>" +
                       content + "</soap:Body></soap:Envelope>");
    return std::string("HTTP/1.1 ") + status +
           "\r\nServer: orv-soap-service\r\nContent-Type: text/xml; "
           "charset=UTF-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string fault(const std::string& reason) {
    return reply("500 Internal Server Error",
                 "<soap:Fault><faultcode>soap:Client</faultcode><faultstring>" + reason +
                     "</faultstring></soap:Fault>");
}

std::string answer(const std::string& request) {
    if (request.rfind("POST /fault ", 0) == 0)
        return fault("you asked for it");
    if (request.rfind("POST /prices ", 0) == 0)
        return reply("200 OK", "<GetPriceResponse><Item>" + text_of(request, "Item") +
                                   "</Item><Price>1.40</Price></GetPriceResponse>");
    if (request.rfind("POST /calculator ", 0) != 0)
        return reply("404 Not Found", "");
    const std::string a = text_of(request, "a"), b = text_of(request, "b");
    if (a.empty() || b.empty())
        return fault("two numbers are needed, a and b");
    const long sum = std::atoi(a.c_str()) + static_cast<long>(std::atoi(b.c_str()));
    return reply("200 OK", "<addResponse><sum>" + std::to_string(sum) + "</sum></addResponse>",
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
}

// The head of a request and as much of a body as it announces, up to a megabyte.
std::string read_request(int client) {
    std::string request;
    char chunk[4096];
    while (request.size() < 1 << 20) {
        const auto head = request.find("\r\n\r\n");
        const auto length = request.find("\r\nContent-Length: ");
        if (head != std::string::npos) {
            const auto body =
                length < head ? std::strtoul(request.c_str() + length + 18, nullptr, 10) : 0;
            if (request.size() - head - 4 >= body)
                break;
        }
        const ssize_t count = recv(client, chunk, sizeof chunk, 0);
        if (count <= 0)
            break;
        request.append(chunk, static_cast<std::size_t>(count));
    }
    return request;
}

void send_all(int client, const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(client, bytes.data() + sent, bytes.size() - sent, 0);
        if (count <= 0)
            return;
        sent += static_cast<std::size_t>(count);
    }
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(argc > 1 ? std::atoi(argv[1]) : 0));
    socklen_t size = sizeof address;
    sockaddr* const any_address = reinterpret_cast<sockaddr*>(&address);

    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, any_address, size) != 0 || listen(listener, 16) != 0 ||
        getsockname(listener, any_address, &size) != 0) {
        std::perror("orv-soap-service");
        return 1;
    }
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);

    for (;;) {
        const int client = accept(listener, nullptr, nullptr);
        if (client == -1)
            continue;
        const timeval patience{5, 0};
        setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        send_all(client, answer(read_request(client)));
        close(client);
    }
}
