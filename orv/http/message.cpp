// The header lines that are always there, and the bytes that are sent:
//
//     POST PATH HTTP/1.1    CR LF
//     NAME: VALUE           CR LF, for each child of the header document
//                           CR LF
//     the body
#include <orv/http/message.hpp>

#include <orv/buffers/stream_reuse.hpp>
#include <orv/buffers/text.hpp>

#include <cstring>

namespace transport {

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
    authority.addprintf(":%ld", port); // the port also when it is 80
    header["HOST"]->setText(authority.c_str());
    str_t length;
    length.addprintf("%u", static_cast<unsigned>(body_length));
    header["Content-Length"]->setText(length.c_str());
}

namespace {

// Calls `write(name, length of the name, value, length of the value)` for every header line. A name
// ends at its delimiter; what is missing is empty.
template <class Write>
void for_each_line(const xml::root& header, Write write) {
    for (unsigned long i = 0; i < header.children.count; ++i) {
        const xml::item& line = header.children.items[i];
        const char* const value = buffers::or_empty(line.value);
        write(buffers::or_empty(line.name), line.nameLength(), value, std::strlen(value));
    }
}

} // namespace

void compose(const stream<0>& path, const xml::root& header, const str_t& body,
             stream<0>& message) {
    static constexpr char method[] = "POST ";
    static constexpr char version[] = " HTTP/1.1\r\n";
    unsigned long size = sizeof method - 1 + path.length() + sizeof version - 1 + 2 + body.length();
    for_each_line(header, [&](const char*, unsigned long name_length, const char*,
                              unsigned long length) { size += name_length + length + 4; });
    message.clear();
    buffers::stream_reuse::reserve(message, size + 1);

    message.add(method).add(path.c_str(), path.length()).add(version);
    for_each_line(header, [&](const char* name, unsigned long name_length, const char* value,
                              unsigned long length) {
        message.add(name, name_length).add(": ", 2).add(value, length).add("\r\n", 2);
    });
    message.add("\r\n", 2).add(body.c_str(), body.length());
}

} // namespace transport
