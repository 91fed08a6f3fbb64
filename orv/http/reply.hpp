// Reading the reply of a server. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

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
    // The body so far; nothing of one whose announced length is negative.
    const stream<0>& body() const { return text_; }

private:
    void append(const char* bytes, unsigned long count);
    const char* take_head(const char* at, const char* end);
    void take_body(const char* at, const char* end);
    void take_line(const char* line);

    xml::root& header_;
    stream<0>& text_; // the line so far, then the body so far
    bool in_body_ = false;
    long content_length_ = 0;
    int code_ = 0;
};

} // namespace transport
