// A reply is read in chunks of up to 4095 bytes. In the head, every chunk is split at its line
// ends; the piece after the last one stays in the accumulator until the next chunk. The empty line
// ends the head; from there on the accumulator collects the body, until it is as long as announced.
#include <orv/http/reply.hpp>

#include <orv/buffers/stream_reuse.hpp>
#include <orv/buffers/text.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>

namespace transport {

namespace {

// An announced length is believed up to this multiple of what has arrived, or of a full chunk, so
// that a server cannot make us allocate what it never sends.
constexpr unsigned long believed = 4;
constexpr unsigned long chunk_size = 4096;

// Where the first CR LF begins; null if there is none, or only its CR.
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

// The number of bytes before the first NUL.
unsigned long text_length(const char* at, const char* end) {
    return strnlen(at, static_cast<unsigned long>(end - at));
}

} // namespace

reply::reply(xml::root& header, stream<0>& text) : header_(header), text_(text) {
    text_.clear();
    buffers::stream_reuse::reserve(text_, 256); // enough for the lines of most servers
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

// Takes lines up to the end of the head, or of the chunk; returns where it stopped.
const char* reply::take_head(const char* at, const char* end) {
    while (at != end) {
        const char* const line_end = find_line_end(at, end);
        append(at, text_length(at, line_end ? line_end : end));
        if (!line_end)
            return end;
        at = line_end + 2;
        if (text_.length() == 0) {
            in_body_ = true;
            return at;
        }
        add_header_line(text_.c_str());
        text_.clear();
    }
    return at;
}

void reply::take_body(const char* at, const char* end) {
    if (content_length_ < 0)
        return; // it would be collected without end, and nobody would see it
    append(at, text_length(at, end));
}

// For a body, reserves as much as is announced, as far as that is believed.
void reply::append(const char* bytes, unsigned long count) {
    const unsigned long length = text_.length() + count;
    if (length >= text_.capacity()) {
        const unsigned long announced = in_body_ ? static_cast<unsigned long>(content_length_) : 0;
        const unsigned long wanted = std::min(announced, believed * std::max(length, chunk_size));
        buffers::stream_reuse::reserve(text_, std::max(length, wanted) + 1);
    }
    text_.add(bytes, count);
}

void reply::add_header_line(const char* line) {
    const unsigned long name_end = std::strcspn(line, " :");
    if (line[name_end] == 0)
        return;
    std::string name(line, name_end);
    const char* const value = line + name_end + (line[name_end + 1] == ' ' ? 2 : 1);

    // A line without a name sets the length too, as hosts are told.
    if (name.empty() || strcasecmp(name.c_str(), "Content-Length") == 0) {
        content_length_ = buffers::leading_int(value);
    } else if (strncasecmp(name.c_str(), "http/", 5) == 0) {
        code_ = buffers::leading_int(value);
        char digits[16];
        std::snprintf(digits, sizeof digits, "%d", code_);
        header_["Code"]->setText(digits);
        name = "Status";
    }
    // The name is a path: a "/" in it means a nested element, and the empty name means the document
    // itself, which then loses the lines gathered so far. The transport's page tells hosts of both.
    header_[name.c_str()]->setText(value);
}

} // namespace transport
