// Splitting a URL, against the rule spelled out with indexes. The input is the URL.
#include "support.hpp"

#include <orv/http/http.hpp>

namespace {

using fuzz::require;

struct parts {
    std::string host, path;
    long port = 80;
};

parts split(const std::string& url) {
    constexpr std::size_t unset = std::string::npos;
    std::string copy = url + std::string(4, '\0'); // the mark behind "://" may lie behind the end
    std::size_t host = unset, port = unset, path = unset;
    for (std::size_t i = 0; i <= url.size() && path == unset; ++i) {
        const char mark = copy[i];
        if (mark != '/' && mark != ':')
            continue;
        copy[i] = 0;
        if (mark == '/')
            path = i + 1;
        else if (host == unset && copy[i + 1] == '/')
            host = (i += 3);
        else if (port == unset)
            port = ++i;
    }
    parts found;
    found.host = copy.c_str() + (host == unset ? 0 : host);
    if (found.host.empty())
        found.host = "localhost";
    if (port != unset)
        found.port = std::atoi(copy.c_str() + port);
    found.path = std::string("/") + (path == unset ? "" : copy.c_str() + path);
    return found;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string url = fuzz::input(data, size).text();
    // Kept from input to input: a stream that is destroyed leaves its block behind, and what it
    // held before must not matter.
    static stream<0> scheme, host, path;
    const std::string host_before = host.c_str();
    long port = -1;
    const bool split_up = ORV::http::parce(url.c_str(), scheme, host, port, path);
    require(split_up == !url.empty(), "only an empty URL is refused");
    if (!split_up) {
        require(host_before == host.c_str() && port == -1, "a refused URL leaves the outputs");
        return 0;
    }
    const parts expected = split(url);
    require(std::strcmp(scheme.c_str(), "http") == 0, "the scheme");
    require(expected.host == host.c_str() && expected.host.size() == host.length(), "the host");
    require(expected.port == port, "the port");
    require(expected.path == path.c_str() && expected.path.size() == path.length(), "the path");
    return 0;
}
