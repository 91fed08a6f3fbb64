// Reading the reply of a server. Not installed.
#pragma once

#include <orv/http/connection.hpp>

#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

#include <optional>

namespace transport {

// Takes a reply apart as it arrives: chunks go in, header lines come out as elements of a document,
// and the body is collected. It knows nothing of sockets, and any bytes will do.
class reply {
public:
    // The lines go into `header`. `text` is what lines and body are collected in; its old text
    // goes, its room is used.
    reply(xml::root& header, stream<0>& text);

    // Takes the bytes of one chunk. True once the reply is complete. A line end counts only if both
    // its bytes are in one chunk, and a NUL drops the rest of its line in this chunk, or of the
    // chunk in the body: hosts are told to expect both.
    bool take(const char* chunk, unsigned long count);

    // The status code of the status line, 0 without one.
    int code() const { return code_; }
    // The body so far.
    const stream<0>& body() const { return text_; }

private:
    const char* take_head(const char* at, const char* end);
    void take_body(const char* at, const char* end);
    void take_line(const char* line);

    xml::root& header_;
    stream<0>& text_; // the line so far, then the body so far
    bool in_body_ = false;
    long content_length_ = 0;
    int code_ = 0;
};

// Reads a reply to its end. Returns the result of the exchange, 1 for status code 200 and 0 for any
// other, with the status text in `error`; or nothing if the attempt has failed, either with a text
// about `host` in `error` or, cut off by the deadline, without a new one.
std::optional<int> read_reply(connection& server, const deadline& limit, const char* host,
                              stream<0>& text, xml::root& header, xml::root& body, str_t& error);

} // namespace transport
