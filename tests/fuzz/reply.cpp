// A reply, read from a socket that gives it piece by piece, against a model that is given the same
// pieces. The input is the reply, with a byte 0xFF wherever a piece ends; the server hangs up
// behind the last one. Compiles the reading of replies into itself.
#include "model.hpp"
#include "support.hpp"

#include <orv/http/reply.hpp>

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using fuzz::require;
using pieces = std::vector<std::string>;

constexpr std::size_t most_at_once = 4095;
constexpr std::size_t most_pieces = 64; // which the socket takes in without being read

int clients_end = -1; // of the socket pair

struct outcome {
    std::optional<int> result;
    xml::root header = xml::root("header");
    xml::root body;
    str_t error;
};

// Reads from a new pair, of a kind that keeps the pieces apart, into which all of the reply has
// been sent.
outcome read(const pieces& reply) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0, "a socket pair is made");
    for (const std::string& piece : reply)
        require(::send(ends[0], piece.data(), piece.size(), 0) == static_cast<long>(piece.size()),
                "a piece is sent");
    close(ends[0]);
    clients_end = ends[1];
    static stream<0> text; // kept: a stream that is destroyed leaves its block behind
    outcome read;
    transport::connection server(100);
    read.result = transport::read_reply(server, transport::deadline(100000), "h", text, read.header,
                                        read.body, read.error);
    return read;
}

// The reading once more, by the rules for one piece after the other.
struct model {
    fuzz::node header;
    std::string body;
    int code = 0;
    long length = 0;
    bool complete = false;

    explicit model(const pieces& reply) {
        header.hold("header", nullptr);
        for (std::size_t i = 0; i < reply.size() && !complete; ++i)
            take(reply[i]);
    }

private:
    void take(std::string piece) {
        while (!in_body_ && !piece.empty()) {
            const std::size_t end = piece.find("\r\n");
            line_ += piece.substr(0, end).c_str(); // up to the first NUL
            piece.erase(0, end == std::string::npos ? end : end + 2);
            if (end == std::string::npos)
                return;
            in_body_ = line_.empty();
            take_line();
            line_.clear();
        }
        if (!in_body_)
            return;
        body += piece.c_str();
        complete = body.size() >= static_cast<unsigned long>(length);
    }
    void take_line() {
        const std::size_t split = line_.find_first_of(" :");
        if (split == std::string::npos)
            return;
        std::string name = line_.substr(0, split), value = line_.substr(split + 1);
        if (!value.empty() && value[0] == ' ')
            value.erase(0, 1);
        if (name.empty() || lower(name) == "content-length") {
            length = std::atoi(value.c_str());
        } else if (lower(name.substr(0, 5)) == "http/") {
            code = std::atoi(value.c_str());
            set("Code", std::to_string(code));
            name = "Status";
        }
        set(name, value);
    }
    void set(const std::string& name, const std::string& value) {
        bool created;
        header.get(name.c_str(), nullptr, created)->set_text(value.c_str());
    }
    static std::string lower(std::string text) {
        for (char& c : text)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        return text;
    }

    std::string line_;
    bool in_body_ = false;
};

pieces cut(const std::string& input) {
    pieces reply;
    for (std::size_t begin = 0; begin < input.size() && reply.size() < most_pieces;) {
        const std::size_t end = std::min(input.find('\xff', begin), input.size());
        const std::size_t length = std::min(end - begin, most_at_once);
        if (length > 0)
            reply.push_back(input.substr(begin, length));
        begin += length + (length == end - begin ? 1 : 0);
    }
    return reply;
}

void compare_with_model(const pieces& reply, outcome& found) {
    model expected(reply);
    require(found.result.has_value() == expected.complete, "whether the reply is complete");
    fuzz::node document;
    std::string error = "Can't recv data from  server h";
    if (expected.complete) {
        require(*found.result == (expected.code == 200 ? 1 : 0), "the result");
        bool created;
        const fuzz::node* status = expected.header.get("Status", nullptr, created);
        error = status->value ? status->value : "";
        const fuzz::shared_text text = fuzz::make_text(expected.body);
        document.load(text, text->data());
    }
    require(found.error.c_str() == error, "the status, or the error of a reply that ends early");
    require(fuzz::same(found.header, expected.header), "the header lines");
    require(fuzz::same(found.body, document), "the document");
}

// Where the pieces end makes no difference to a reply that ends where it says, unless a CR and its
// LF are parted. (A NUL drops the rest of its piece.)
void compare_with_whole(const pieces& reply, const outcome& found) {
    std::string joined;
    for (const std::string& piece : reply) {
        if (!joined.empty() && joined.back() == '\r' && piece.front() == '\n')
            return;
        joined += piece;
    }
    if (joined.size() > most_at_once || joined.find('\0') != std::string::npos)
        return;
    const model whole({joined});
    if (!whole.complete || whole.body.size() != static_cast<unsigned long>(whole.length))
        return;
    const outcome at_once = read({joined});
    require(found.result == at_once.result && found.error == at_once.error,
            "the result does not depend on the pieces");
    require(fuzz::alike(found.header, at_once.header) && fuzz::alike(found.body, at_once.body),
            "the documents do not depend on the pieces");
}

} // namespace

// The socket that a connection makes is the client's end of the pair.
extern "C" int socket(int, int, int) noexcept { return clients_end; }

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const pieces reply = cut(fuzz::input(data, size).rest());
    outcome found = read(reply);
    compare_with_model(reply, found);
    compare_with_whole(reply, found);
    return 0;
}
