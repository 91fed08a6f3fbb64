// Splitting a URL, in a private copy: every delimiter found becomes a NUL, and three marks note
// where host, port and path begin.
//
//     http://host:8080/svc/ep
//         ^      ^    ^          become NUL
//            ^    ^    ^         host, port, path
#include <orv/http/http.hpp>

#include <orv/buffers/stream_reuse.hpp>
#include <orv/buffers/text.hpp>

#include <string>
#include <strings.h>

namespace transport {

namespace {

struct marks {
    const char* host = nullptr;
    const char* port = nullptr;
    const char* path = nullptr;
};

// `copy` holds the URL and one extra NUL, because the mark after "://" may lie past the end.
marks split(std::string& copy) {
    marks found;
    for (unsigned long i = 0; i < copy.size();) {
        char* const at = copy.data() + i;
        if (*at == '/') {
            *at = 0;
            found.path = at + 1;
            break;
        }
        if (*at != ':') {
            ++i;
            continue;
        }
        *at = 0;
        // The first characters of the host and of the port are not examined, on purpose: a host
        // that begins with ":" keeps it.
        if (!found.host && at[1] == '/') {
            found.host = at + 3;
            i += 4;
        } else if (!found.port) {
            found.port = at + 1;
            i += 2;
        } else {
            ++i;
        }
    }
    return found;
}

long default_port(const char* scheme) {
    // Only "http" is ever asked for. The table is kept as it is, including 23 for "ftp".
    static constexpr struct {
        const char* scheme;
        long port;
    } ports[] = {{"http", 80}, {"https", 443}, {"ftp", 23}};
    for (const auto& row : ports) {
        if (strcasecmp(scheme, row.scheme) == 0)
            return row.port;
    }
    return 0;
}

void replace(stream<0>& output, const char* first, const char* second = "") {
    output.clear();
    buffers::stream_reuse::reserve(output, std::strlen(first) + std::strlen(second) + 1);
    output.add(first).add(second);
}

} // namespace

} // namespace transport

bool ORV::http::parce(const char* url, stream<0>& scheme, stream<0>& host, long& port,
                      stream<0>& path) {
    if (!url || !*url)
        return false;
    std::string copy(url);
    copy.push_back('\0');
    const transport::marks found = transport::split(copy);
    const char* const host_text = found.host ? found.host : copy.c_str();

    transport::replace(scheme, "http"); // always, whatever the URL names
    port = found.port ? buffers::leading_int(found.port) : transport::default_port(scheme.c_str());
    transport::replace(host, *host_text ? host_text : "localhost");
    transport::replace(path, "/", found.path ? found.path : "");
    return true;
}
