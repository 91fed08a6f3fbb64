// Reading a server's reply. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace transport {

// Parses a reply as it arrives: header lines become elements of a document, and the body is
// collected. It does not depend on sockets, and accepts any bytes.
class reply {
public:
    // The lines are stored in `header`. Lines and body are collected in `text`, whose old content
    // is dropped and whose memory is reused.
    reply(xml::root& header, stream<0>& text);

    // Takes the bytes of one chunk. True once the reply is complete. A line end counts only if both
    // its bytes are in one chunk, and a NUL drops the rest of its line in this chunk or, in the
    // body, of the chunk: hosts are told to expect both.
    bool take(const char* chunk, unsigned long count);

    // The status code of the status line, 0 without one.
    int code() const { return code_; }
    // The body so far; empty if its announced length is negative.
    const stream<0>& body() const { return text_; }

private:
    void append(const char* bytes, unsigned long count);
    const char* take_head(const char* at, const char* end);
    void take_body(const char* at, const char* end);
    void add_header_line(const char* line);

    xml::root& header_;
    stream<0>& text_; // the line so far, then the body so far
    bool in_body_ = false;
    long content_length_ = 0;
    int code_ = 0;
};

} // namespace transport
