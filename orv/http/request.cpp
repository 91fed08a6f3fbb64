// One exchange, from the URL to the result. The message is composed once; then whole attempts
// (connect, send, receive) follow each other until one brings a complete reply or the budget is
// spent.
#include <orv/http/http.hpp>

#include <orv/buffers/text.hpp>
#include <orv/http/connection.hpp>
#include <orv/http/deadline.hpp>
#include <orv/http/rendered.hpp>
#include <orv/http/reply.hpp>
#include <orv/http/reserve.hpp>

#include <orv/runtime/trace.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <strings.h>
#include <unistd.h>

namespace transport {

namespace {

// Shown to the user as it is. It must not contain a "%".
constexpr char connect_failure[] =
    "The application cannot connect to the server.\n"
    "\n"
    "Possible reasons:\n"
    "\n"
    "1. There is no Internet connection, or it is bad. Check the connection and try again.\n"
    "\n"
    "2. A firewall in the local network blocks the connection. Ask the administrator of the "
    "network to let the application through.\n"
    "\n"
    "3. The local network needs proxy settings to reach the server. Ask the administrator of the "
    "network about them.\n";

bool is_http(const stream<0>& scheme) {
    return scheme.capacity() == 0 || strcasecmp(scheme.c_str(), "http") == 0;
}

void add_default_lines(xml::root& header) {
    static constexpr struct {
        const char* name;
        const char* value;
    } defaults[] = {
        {"Content-Type", "text/xml; charset=UTF-8"},
        {"SOAPAction", "\"\""},
        {"Accept", "*"}, // not a media range, on purpose
        {"Cache-Control", "no-cache"},
        {"Pragma", "no-cache"},
        {"User-Agent", "ORV"},
        {"Connection", "keep-alive"},
    };
    for (const auto& line : defaults) {
        if (!header.is_set(line.name))
            header[line.name]->setText(line.value);
    }
}

void set_computed_lines(xml::root& header, const char* host, long port, unsigned long body_length) {
    str_t authority(host);
    authority.addprintf(":%ld", port); // the port also when it is 80
    header["HOST"]->setText(authority.c_str());
    str_t length;
    length.addprintf("%u", static_cast<unsigned>(body_length));
    header["Content-Length"]->setText(length.c_str());
}

// Calls `write(name, length of the name, value, length of the value)` for every header line. A name
// ends at its delimiter; what is missing is empty.
template <class Write>
void for_each_line(const xml::root& header, Write write) {
    for (unsigned long i = 0; i < header.children.count; ++i) {
        const xml::item& line = header.children.items[i];
        const char* const name = line.name ? line.name : "";
        const char* const value = line.value ? line.value : "";
        write(name, line.nameLength(), value, std::strlen(value));
    }
}

void compose(const stream<0>& path, const xml::root& header, const str_t& body,
             stream<0>& message) {
    static constexpr char method[] = "POST ";
    static constexpr char version[] = " HTTP/1.1\r\n";
    unsigned long size = sizeof method - 1 + path.length() + sizeof version - 1 + 2 + body.length();
    for_each_line(header, [&](const char*, unsigned long name_length, const char*,
                              unsigned long length) { size += name_length + length + 4; });
    reserve(message, size + 1);

    message.add(method).add(path.c_str(), path.length()).add(version);
    for_each_line(header, [&](const char* name, unsigned long name_length, const char* value,
                              unsigned long length) {
        message.add(name, name_length).add(": ", 2).add(value, length).add("\r\n", 2);
    });
    message.add("\r\n", 2).add(body.c_str(), body.length());
}

// 100 ms, whatever signals come.
void pause_after_failed_connect() {
    using std::chrono::microseconds;
    using std::chrono::steady_clock;
    microseconds left(100000);
    const auto end = steady_clock::now() + left;
    do {
        ::usleep(static_cast<useconds_t>(left.count()));
        left = std::chrono::ceil<microseconds>(end - steady_clock::now());
    } while (left.count() > 0);
}

// What every attempt of an exchange needs.
struct exchange {
    const char* host;
    long port;
    const stream<0>& message;
    stream<0>& text; // to collect the reply in
    xml::root& reply_header;
    xml::root& reply_body;
    str_t& error;
    deadline limit;

    // The result, or nothing if another attempt may follow.
    std::optional<int> attempt(connection& server) {
        ORV_trace6("Try to connect\n");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        if (!resolve(host, port, address)) {
            error.clear();
            ORV_trace6("Can't resolve server name %s", host);
            error.addprintf("Can't resolve server name %s", host);
            return 0;
        }
        if (!server.connect(address, limit)) {
            error.clear();
            ORV_trace6("Can't connect to server %s", host);
            error.addprintf(connect_failure);
            pause_after_failed_connect();
            return std::nullopt;
        }
        ORV_trace6("Try to send\n");
        if (!server.send(message.c_str(), message.length(), limit, host, error))
            return std::nullopt;
        return read_reply(server, limit, host, text, reply_header, reply_body, error);
    }
};

} // namespace

} // namespace transport

int ORV::http::request(const char* url, xml::root& header, xml::root& body, xml::root& replyHeader,
                       xml::root& replyBody, str_t& error, long timeout) {
    ORV_trace6("URL %s\n", buffers::or_empty(url));
    stream<0> scheme, host, path;
    long port;
    // The two complaints go into different documents, where hosts look for each.
    if (!parce(url, scheme, host, port, path)) {
        replyHeader["error"]->setText("Invalid URL:");
        return -1;
    }
    if (!transport::is_http(scheme)) {
        header["error"]->setText("Unsupported protocol");
        return -1;
    }

    transport::add_default_lines(header);
    const str_t text = transport::rendered(body); // without a NUL, as all that a document renders
    transport::set_computed_lines(header, host.c_str(), port, text.length());
    stream<0> message;
    transport::compose(path, header, text, message);
    ORV_trace6("Send header:\n%s\n", transport::rendered(header).c_str());
    // The body as it is by now: the header lines may have been set in the same document.
    ORV_trace6("Send request:\n%s\n",
               &header == &body ? transport::rendered(body).c_str() : text.c_str());

    stream<0> reply;
    transport::exchange exchange{host.c_str(), port,      message, reply,
                                 replyHeader,  replyBody, error,   transport::deadline(timeout)};
    ORV_trace6("Time %d < %d", static_cast<int>(transport::deadline::now()),
               static_cast<int>(exchange.limit.ticks()));
    while (!exchange.limit.passed()) {
        replyHeader.clear();
        ORV_trace6("Set options to connect\n");
        transport::connection server(timeout / 2);
        if (!server.is_open())
            break;
        if (const std::optional<int> result = exchange.attempt(server))
            return *result;
    }
    if (error.empty())
        error.addprintf("Can't send data to server %s", host.c_str());
    return 0;
}
