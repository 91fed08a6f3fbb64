// What is sent:
//
//     POST PATH HTTP/1.1    CR LF
//     NAME: VALUE           CR LF, for each child of the header document
//                           CR LF
//     the body
#include <orv/http/message.hpp>

#include <orv/buffers/str.hpp>
#include <orv/buffers/stream_reuse.hpp>
#include <orv/buffers/text.hpp>
#include <orv/xml/writer.hpp>

#include <cstring>
#include <string>

namespace transport {

namespace {

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
    authority.addprintf(":%ld", port); // the port even if it is 80
    header["HOST"]->setText(authority.c_str());
    str_t length;
    length.addprintf("%u", static_cast<unsigned>(body_length));
    header["Content-Length"]->setText(length.c_str());
}

// Names are written up to their delimiter; a missing name or value counts as empty.
std::string head_of(const stream<0>& path, const xml::root& header) {
    std::string head = std::string("POST ") + path.c_str() + " HTTP/1.1\r\n";
    for (unsigned long i = 0; i < header.children.count; ++i) {
        const xml::item& line = header.children.items[i];
        head.append(buffers::or_empty(line.name), line.nameLength()).append(": ");
        head.append(buffers::or_empty(line.value)).append("\r\n");
    }
    return head.append("\r\n");
}

// Appends to a stream and frees every block that it outgrows.
struct stream_sink : xml::sink {
    stream<0>& text;
    explicit stream_sink(stream<0>& to) : text(to) {}
    void append(const char* bytes, unsigned long count) override {
        buffers::stream_reuse::reserve(text, text.length() + count + 1);
        text.add(bytes, count);
    }
};

} // namespace

message::message(stream<0>& in, const stream<0>& path, const char* host, long port,
                 xml::root& header, const xml::root& body)
    : text_(in) {
    add_default_lines(header);
    // The most that the two lines still to be set can take, without the host.
    constexpr unsigned long computed =
        sizeof "HOST: :-9223372036854775808\r\nContent-Length: 4294967295\r\n";
    const std::string room(head_of(path, header).size() + std::strlen(host) + computed, ' ');
    text_.clear();
    stream_sink out(text_);
    out.append(room.data(), room.size());
    xml::write_compact(body, out); // without a NUL, like everything that a document renders

    set_computed_lines(header, host, port, text_.length() - room.size());
    const std::string head = head_of(path, header);
    begin_ = room.size() - head.size();
    buffers::stream_reuse::overwrite(text_, begin_, head.data(), head.size());
}

} // namespace transport
