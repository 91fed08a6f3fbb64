// A reply is read in chunks of up to 4095 bytes. While in the head, every chunk is cut at its line
// ends; the piece behind the last one waits in the accumulator for the next chunk. The empty line
// ends the head, and from there on the accumulator collects the body, until it is as long as
// announced.
#include <orv/http/reply.hpp>

#include <orv/http/number.hpp>
#include <orv/http/rendered.hpp>
#include <orv/http/reserve.hpp>

#include <orv/runtime/trace.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>

namespace transport {

namespace {

constexpr unsigned long buffer_size = 4096;

// An announced length is believed up to this multiple of what has arrived, or of a full chunk: room
// for a body is made in few steps, yet a server cannot make us allocate what it never sends.
constexpr unsigned long believed = 4;

// Where the first CR LF begins; null if it is not there, or not all of it.
const char* find_line_end(const char* at, const char* end) {
    while (at != end) {
        const void* found = std::memchr(at, '\r', static_cast<unsigned long>(end - at));
        if (!found)
            return nullptr;
        at = static_cast<const char*>(found);
        if (at + 1 != end && at[1] == '\n')
            return at;
        ++at;
    }
    return nullptr;
}

// The number of bytes in front of the first NUL.
unsigned long text_length(const char* at, const char* end) {
    return strnlen(at, static_cast<unsigned long>(end - at));
}

} // namespace

reply::reply(xml::root& header, stream<0>& text) : header_(header), text_(text) {
    text_.clear();
    reserve(text_, 256); // enough for the lines of most servers
}

bool reply::take(const char* chunk, unsigned long count) {
    const char* const end = chunk + count;
    const char* at = chunk;
    if (!in_body_)
        at = take_head(at, end);
    if (in_body_)
        take_body(at, end);
    // Unsigned, so that a negative length is never reached.
    return in_body_ && text_.length() >= static_cast<unsigned long>(content_length_);
}

// Takes lines up to the end of the head, or of the chunk; returns how far it came.
const char* reply::take_head(const char* at, const char* end) {
    while (at != end) {
        const char* const line_end = find_line_end(at, end);
        text_.add(at, text_length(at, line_end ? line_end : end));
        if (!line_end)
            return end;
        at = line_end + 2;
        if (text_.length() == 0) {
            in_body_ = true;
            return at;
        }
        take_line(text_.c_str());
        text_.clear();
    }
    return at;
}

void reply::take_body(const char* at, const char* end) {
    const unsigned long count = text_length(at, end);
    const unsigned long length = text_.length() + count;
    if (length >= text_.capacity()) {
        const unsigned long announced = static_cast<unsigned long>(content_length_);
        const unsigned long limit = believed * std::max(length, buffer_size);
        reserve(text_, std::max(length, std::min(announced, limit)) + 1);
    }
    text_.add(at, count);
}

void reply::take_line(const char* line) {
    const unsigned long name_end = std::strcspn(line, " :");
    if (line[name_end] == 0)
        return;
    std::string name(line, name_end);
    const char* const value = line + name_end + (line[name_end + 1] == ' ' ? 2 : 1);

    // A line without a name sets the length too, as hosts are told that such lines are read.
    if (name.empty() || strcasecmp(name.c_str(), "Content-Length") == 0) {
        content_length_ = leading_int(value);
    } else if (strncasecmp(name.c_str(), "http/", 5) == 0) {
        code_ = leading_int(value);
        char digits[16];
        std::snprintf(digits, sizeof digits, "%d", code_);
        header_["Code"]->setText(digits);
        name = "Status";
    }
    // The name is a path: a "/" in it means a nested element, and the empty name the document
    // itself, which loses the lines gathered so far. Hosts find both where the transport's page
    // says.
    header_[name.c_str()]->setText(value);
}

std::optional<int> read_reply(connection& server, const deadline& limit, const char* host,
                              stream<0>& text, xml::root& header, xml::root& body, str_t& error) {
    ORV_trace6("Try to recv\n");
    reply received(header, text);
    char chunk[buffer_size];
    bool complete = false;
    do {
        const std::optional<int> count = server.receive(chunk, sizeof chunk - 1, limit);
        if (!count)
            return std::nullopt;
        if (*count <= 0) {
            ORV_trace6("Can't recv %d\n", *count);
            error.clear();
            error.addprintf("Can't recv data from  server %s", host); // both spaces are kept
            return std::nullopt;
        }
        ORV_trace6("Was recv %d bytes\n", *count);
        complete = received.take(chunk, static_cast<unsigned long>(*count));
    } while (!complete && !limit.passed());
    if (!complete)
        return std::nullopt;

    body.load(received.body().c_str(), received.body().length());
    ORV_trace6("Recv header:\n%s\n", rendered(header).c_str());
    ORV_trace6("Recv request:\n%s\n", rendered(body).c_str()); // "request" is kept
    error = header["Status"]->value;
    return received.code() == 200 ? 1 : 0;
}

} // namespace transport
