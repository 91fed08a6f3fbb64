// A request, from the URL to the result: the message is composed once, then exchanged for a reply.
#include <orv/http/http.hpp>

#include <orv/http/attempts.hpp>
#include <orv/http/message.hpp>
#include <orv/http/trace_document.hpp>
#include <orv/http/workspace.hpp>

#include <orv/buffers/text.hpp>
#include <orv/runtime/trace.h>

#include <strings.h>

namespace transport {

namespace {

bool is_http(const stream<0>& scheme) {
    return scheme.capacity() == 0 || strcasecmp(scheme.c_str(), "http") == 0;
}

} // namespace

} // namespace transport

int ORV::http::request(const char* url, xml::root& header, xml::root& body, xml::root& replyHeader,
                       xml::root& replyBody, str_t& error, long timeout) {
    ORV_trace6("URL %s\n", buffers::or_empty(url));
    const transport::borrowed_workspace work;
    long port;
    // The two errors are reported in different documents, where hosts look for each.
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
    transport::trace_document("Send header:\n%s\n", header);
    // In its present state: the header lines may have been set in the same document.
    transport::trace_document("Send request:\n%s\n", body);
    return transport::run({host, port, message, work->reply, replyHeader, replyBody, error},
                          timeout);
}
