// A reply, read piece by piece, against a plain reader that is given the same pieces. The input is
// the reply, with a byte 0xFF wherever a piece ends; the server hangs up behind the last one. The
// reading of replies is compiled into the target.
#include "support.hpp"

#include <orv/http/reply.hpp>

#include <algorithm>
#include <cstdlib>
#include <strings.h>

namespace {

// Takes it off the input.
std::string next_piece(std::string& input) {
    input.erase(0, input.find_first_not_of('\xff'));
    const std::string piece = input.substr(0, std::min<std::size_t>(input.find('\xff'), 4095));
    input.erase(0, piece.size());
    return piece;
}

struct plain_reader {
    xml::root header{"header"};
    std::string line, body;
    int code = 0, length = 0;
    bool in_body = false, is_complete = false;

    void read(std::string input) {
        for (std::string piece; !is_complete && !(piece = next_piece(input)).empty();) {
            for (std::size_t end; !in_body && (end = piece.find("\r\n")) != piece.npos;) {
                line += piece.substr(0, end).c_str(); // up to the first NUL
                piece.erase(0, end + 2);
                take_line();
            }
            (in_body ? body : line) += piece.c_str();
            is_complete = in_body && body.size() >= static_cast<unsigned long>(length);
        }
    }
    void take_line() {
        in_body = line.empty();
        const std::size_t split = line.find_first_of(" :");
        if (split != line.npos) {
            const std::size_t blank = line[split + 1] == ' ';
            std::string name = line.substr(0, split), value = line.substr(split + 1 + blank);
            if (name.empty() || strcasecmp(name.c_str(), "content-length") == 0) {
                length = std::atoi(value.c_str());
            } else if (strncasecmp(name.c_str(), "http/", 5) == 0) {
                code = std::atoi(value.c_str());
                header["Code"]->setText(std::to_string(code).c_str());
                name = "Status";
            }
            header[name.c_str()]->setText(value.c_str());
        }
        line.clear();
    }
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);
    plain_reader expected;
    expected.read(input);
    static stream<0> text; // kept: a stream that is destroyed leaves its block behind
    xml::root header("header");
    transport::reply reply(header, text);
    bool is_complete = false;
    for (std::string piece; !is_complete && !(piece = next_piece(input)).empty();)
        is_complete = reply.take(piece.data(), piece.size());
    fuzz::require(is_complete == expected.is_complete, "whether the reply is complete");
    fuzz::require(reply.code() == expected.code, "the status code");
    fuzz::require(fuzz::saved(header) == fuzz::saved(expected.header), "the header lines");
    fuzz::require(!is_complete || reply.body().c_str() == expected.body, "the body");
    return 0;
}
