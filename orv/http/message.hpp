// The message of a request. Not installed.
#pragma once

#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace transport {

// Composes the request line, the header lines, an empty line and the body in a stream, replacing
// what it held. The head depends on the length of the body, so the body is rendered first, after
// room for the head, and is not copied again.
//
//     +-------------+------+------+
//     | room to spare | head | body |
//     +-------------+------+------+
//                   ^ data()
class message {
public:
    // Adds the header lines that every request needs to `header` where they are missing, and sets
    // those that follow from the URL and the body.
    message(stream<0>& in, const stream<0>& path, const char* host, long port, xml::root& header,
            const xml::root& body);

    const char* data() const { return text_.c_str() + begin_; }
    unsigned long length() const { return text_.length() - begin_; }

private:
    stream<0>& text_;
    unsigned long begin_;
};

} // namespace transport
