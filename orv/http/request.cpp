// A request, from the URL to the result: the message is composed once, then exchanged for a reply.
#include <orv/http/http.hpp>

#include <orv/http/exchange.hpp>
#include <orv/http/message.hpp>
#include <orv/http/workspace.hpp>

#include <orv/buffers/text.hpp>
#include <orv/runtime/trace.h>

#include <strings.h>

namespace transport {

namespace {

bool is_http(const stream<0>& scheme) {
    return scheme.capacity() == 0 || strcasecmp(scheme.c_str(), "http") == 0;
}

str_t rendered(const xml::item& document) {
    str_t text;
    document.save(text, 0);
    return text;
}

} // namespace

} // namespace transport

int ORV::http::request(const char* url, xml::root& header, xml::root& body, xml::root& replyHeader,
                       xml::root& replyBody, str_t& error, long timeout) {
    ORV_trace6("URL %s\n", buffers::or_empty(url));
    const transport::borrowed_workspace work;
    long port;
    // The two complaints go into different documents, where hosts look for each.
    if (!parce(url, work->scheme, work->host, port, work->path)) {
        replyHeader["error"]->setText("Invalid URL:");
        return -1;
    }
    if (!transport::is_http(work->scheme)) {
        header["error"]->setText("Unsupported protocol");
        return -1;
    }

    const char* const host = work->host.c_str();
    const transport::message message(work->message, work->path, host, port, header, body);
    ORV_trace6("Send header:\n%s\n", transport::rendered(header).c_str());
    // The body as it is by now: the header lines may have been set in the same document.
    ORV_trace6("Send request:\n%s\n",
               &header == &body ? transport::rendered(body).c_str() : message.body());
    return transport::run({host, port, message, work->reply, replyHeader, replyBody, error},
                          timeout);
}
