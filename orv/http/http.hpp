// `ORV::http`, the library's web-service client.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace ORV {

// A minimal HTTP/1.1 client over IPv4 TCP with one job: post an XML document, normally a SOAP
// envelope, to a URL and read back an XML reply. The header lines in both directions are XML
// documents too, with an element for each line. No TLS, no proxies, no redirects, no chunked
// transfer coding; one connection for each attempt.
//
// Threads: any number of calls at once, each on documents and texts of its own.
//
// Memory: the working texts of a call are kept for the next one: the memory of the message and of
// the complete reply, each up to half as large again as the largest so far, and the parts of the
// URL. There are as many such sets as calls have been in progress at the same time, 16 at most.
// Nothing else is kept, whatever the number of calls and attempts.
class ORV_API http {
public:
    http() = delete;

    // Splits a URL (the spelling of the name is intended). False, with all outputs untouched, for a
    // null or empty `url`; otherwise all four are replaced. `scheme` is always "http", whatever the
    // URL names. `host` is a name or dotted address, "localhost" if the URL has none. `port` is 80
    // unless the URL has a port, which is read as by `atoi`. `path` begins with "/".
    //
    // The characters right after "://" and right after the colon of a port are taken as they are: a
    // host that begins with ":" keeps it.
    static bool parce(const char* url, stream<0>& scheme, stream<0>& host, long& port,
                      stream<0>& path);

    // Posts `body` to `url`, and tries again until a complete reply has arrived or the budget is
    // spent; a host that cannot be resolved is not tried again.
    //
    // `header`       A child for each header line, with its name and text; sent in the order of the
    //                children. Missing lines are added to it, and "HOST" and "Content-Length" are
    //                always set, so the caller sees what was sent. Any other child is sent as a
    //                line, too. Nothing is escaped or checked.
    // `replyHeader`  Emptied by every attempt; receives a child for each header line, the last of
    //                each name, and from the status line "Code" (200) and "Status" (200 OK). A
    //                complete reply always has "Status". A name with "/" makes nested elements; an
    //                empty name sets the text of `replyHeader` itself and removes its children.
    // `replyBody`    Receives the reply's document, as far as it parses; untouched without a
    //                complete reply. It is the first element of the text: the envelope, so that a
    //                path begins below it ("soap:Body/..."); or, if the reply opens with an XML
    //                declaration, "?xml", whose child is the envelope (a path then begins with
    //                "soap:Envelope/soap:Body/..."). The prefixes are the server's choice. `search`
    //                finds an element by name in either case.
    // `error`        After a complete reply the text of "Status"; otherwise why there is none. It
    //                is not cleared first: a call that only ran out of time leaves an old text.
    // `timeout`      The budget in ticks of `times()`, of which `sysconf(_SC_CLK_TCK)` make a
    //                second. With 0 or less nothing is sent.
    //
    // Returns 1 for a complete reply with status code 200, 0 for any other or none, and -1 for a
    // null or empty URL: the reason is then the child "error" of `replyHeader`, and `error` is
    // untouched. (Every other URL counts as http, whatever scheme it names.)
    //
    // A reply line that begins with a space or ":" also sets the announced length, to the number
    // after that, or 0. Without a "Content-Length" a reply ends with the bytes that arrive with the
    // end of its header, so most of it may be missing, though the result is 1. The same holds for a
    // chunked reply, whose chunk sizes stay in the text. A reply never ends if its announced length
    // is negative. The path of the URL is sent as it is, like everything in `header`.
    //
    // Blocks for the budget at most, plus a pause of 100 ms after a failed connection and the time
    // that the operating system takes to look up a name. The signal that a server causes by hanging
    // up does not reach the host. Errors: if memory runs out, the allocator's exception passes
    // through and the connection is closed.
    static int request(const char* url, xml::root& header, xml::root& body, xml::root& replyHeader,
                       xml::root& replyBody, str_t& error, long timeout);
};

} // namespace ORV
