// Every text that an exchange leaves in `error` is written here, and here it is decided whether to
// make another attempt.
#include <orv/http/attempts.hpp>

#include <orv/http/connection.hpp>
#include <orv/http/reply.hpp>
#include <orv/http/trace_document.hpp>

#include <orv/buffers/stream_reuse.hpp>
#include <orv/runtime/deadline.hpp>
#include <orv/runtime/pause.hpp>
#include <orv/runtime/trace.h>

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

// "recv" and both spaces are intended, even for a message that could not be sent.
constexpr char no_answer[] = "Can't recv data from  server %s";

constexpr std::chrono::milliseconds pause_after_refusal(100);

// How an attempt ended.
enum class attempt_end { status_200, other_status, given_up, to_be_repeated };

class attempts {
public:
    attempts(const exchange& with, long budget)
        : with_(with), limit_(budget), half_budget_(budget / 2) {}

    // Makes one attempt after another.
    int run();

private:
    attempt_end make();
    bool connect(connection& server, const sockaddr_in& address);
    bool send(connection& server);
    attempt_end receive(connection& server);
    attempt_end finish(const reply& received);

    const exchange& with_;
    const runtime::deadline limit_;
    const long half_budget_;
    bool has_connected_ = false; // in any attempt
};

int attempts::run() {
    ORV_trace6("Time %d < %d", static_cast<int>(runtime::deadline::now()),
               static_cast<int>(limit_.ticks()));
    attempt_end end = attempt_end::to_be_repeated;
    while (end == attempt_end::to_be_repeated && !limit_.passed())
        end = make();
    const bool is_answered = end == attempt_end::status_200 || end == attempt_end::other_status;
    if (!is_answered && with_.error.empty())
        with_.error.addprintf("Can't send data to server %s", with_.host);
    if (!is_answered) // an incomplete reply may be large, and is not kept
        buffers::stream_reuse::free(with_.text);
    return end == attempt_end::status_200 ? 1 : 0;
}

attempt_end attempts::make() {
    with_.reply_header.clear();
    ORV_trace6("Set options to connect\n");
    connection server(limit_, half_budget_);
    if (!server.is_open())
        return attempt_end::given_up;
    ORV_trace6("Try to connect\n");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (!resolve(with_.host, with_.port, address)) {
        with_.error.clear();
        ORV_trace6("Can't resolve server name %s", with_.host);
        with_.error.addprintf("Can't resolve server name %s", with_.host);
        return attempt_end::given_up;
    }
    if (!connect(server, address) || !send(server))
        return attempt_end::to_be_repeated;
    return receive(server);
}

bool attempts::connect(connection& server, const sockaddr_in& address) {
    const outcome made = server.connect(address);
    if (made == outcome::done) {
        has_connected_ = true;
        return true;
    }
    // A connection cut off by the deadline says nothing about a server that was reached before: why
    // that attempt failed is the better reason.
    const bool has_reason = made == outcome::cut_off && has_connected_;
    if (!has_reason)
        with_.error.clear();
    ORV_trace6("Can't connect to server %s", with_.host);
    if (!has_reason)
        with_.error.addprintf(connect_failure);
    if (made == outcome::failed)
        runtime::sleep(pause_after_refusal);
    return false;
}

bool attempts::send(connection& server) {
    ORV_trace6("Try to send\n");
    const outcome sent = server.send(with_.request.data(), with_.request.length());
    if (sent == outcome::failed)
        with_.error.addprintf(no_answer, with_.host); // after the lines of earlier attempts
    return sent == outcome::done;
}

attempt_end attempts::receive(connection& server) {
    ORV_trace6("Try to recv\n");
    reply received(with_.reply_header, with_.text);
    char chunk[4096];
    int count;
    for (;;) {
        switch (server.receive(chunk, sizeof chunk - 1, count)) {
        case outcome::done:
            ORV_trace6("Was recv %d bytes\n", count);
            if (received.take(chunk, static_cast<unsigned long>(count)))
                return finish(received);
            break;
        case outcome::failed:
            ORV_trace6("Can't recv %d\n", count);
            with_.error.clear();
            with_.error.addprintf(no_answer, with_.host);
            return attempt_end::to_be_repeated;
        case outcome::cut_off:
            return attempt_end::to_be_repeated;
        }
    }
}

attempt_end attempts::finish(const reply& received) {
    with_.reply_body.load(received.body().c_str(), received.body().length());
    trace_document("Recv header:\n%s\n", with_.reply_header);
    trace_document("Recv request:\n%s\n", with_.reply_body); // "request" is intended
    with_.error = with_.reply_header["Status"]->value;
    return received.code() == 200 ? attempt_end::status_200 : attempt_end::other_status;
}

} // namespace

int run(const exchange& with, long budget) { return attempts(with, budget).run(); }

} // namespace transport
