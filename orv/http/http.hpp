// `ORV::http`, the library's web-service client.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace ORV {

// A minimal HTTP/1.1 client over IPv4 TCP with one job: post an XML document, normally a SOAP
// envelope, to a URL and read back an XML reply. The header lines of both directions are XML
// documents too, with an element for each line. No TLS, no proxies, no redirects, no chunked
// transfer coding; one connection for each attempt.
//
// Threads: any number of calls at once, each on documents and texts of its own.
//
// Memory: the working texts of a call are kept for the next one: the room of the message and of the
// complete reply, each up to half as large again as the largest so far, and the parts of the URL.
// There are as many such sets as calls have been under way at the same time, 16 at most. Nothing
// else is kept, and the number of calls and of attempts makes no difference.
class ORV_API http {
public:
    http() = delete;

    // Splits a URL (the spelling of the name is intended). False, with all outputs untouched, for a
    // null or empty `url`; otherwise all four are replaced. `scheme` is always "http", whatever the
    // URL names. `host` is a name or dotted address, "localhost" if the URL has none. `port` is 80
    // unless the URL has a port, which is read as `atoi` does. `path` begins with "/".
    //
    // The characters right behind "://" and right behind the colon of a port are taken as they
    // come: a host that begins with ":" keeps it.
    static bool parce(const char* url, stream<0>& scheme, stream<0>& host, long& port,
                      stream<0>& path);

    // Posts `body` to `url`, and tries again until a complete reply has come or the budget is
    // spent.
    //
    // `header`       A child for each header line, its name and its text; sent in the order of the
    //                children. The lines that are missing are added to it, and "HOST" and
    //                "Content-Length" are always set, so the caller sees what was sent. Whatever
    //                else is there goes out as a line too. Nothing is escaped or checked.
    // `replyHeader`  Emptied by every attempt; receives a child for each header line, the last of
    //                each name, and from the status line "Code" (200) and "Status" (200 OK). A
    //                complete reply always has "Status". A name with "/" makes nested elements; an
    //                empty name sets the text of `replyHeader` itself and removes its children.
    // `replyBody`    Receives the reply's document, as far as it parses; untouched without one. It
    //                is the first element of the text: the envelope, so that a path begins below it
    //                ("soap:Body/..."); or, of a reply that opens with an XML declaration, "?xml",
    //                and the envelope its child ("soap:Envelope/soap:Body/..."). The prefixes are
    //                the server's choice. `search` finds an element by name in both.
    // `error`        After a complete reply the text of "Status"; else why there is none. It is not
    //                emptied before: a call that only ran out of time leaves an old text standing.
    // `timeout`      The budget in ticks of `times()`, of which `sysconf(_SC_CLK_TCK)` make a
    //                second. At 0 or less nothing is sent.
    //
    // Returns 1 for a complete reply with status code 200, and 0 for any other and for none. -1
    // means that the URL is null or empty; the reason is then the child "error" of `replyHeader`,
    // and `error` is untouched. (Every other URL counts as one of http, whatever it names.)
    //
    // A line that begins with a space or ":" also sets the announced length, to the number behind
    // that, or 0. Without a "Content-Length" a reply ends with the bytes that arrive together with
    // the end of its header, so most of it may be missing, though the result is 1. That goes for a
    // chunked one too, of which the chunk sizes stay in the text. The reply ends nowhere if that
    // length is negative. The path of the URL goes out as it stands, like everything in `header`.
    //
    // Blocks for the budget, a pause of 100 ms after a connection that failed, and what the
    // operating system takes to look up a name. A signal that comes from a server hanging up does
    // not reach the host. Errors: if memory runs out the allocator's exception passes through, and
    // the connection is closed.
    static int request(const char* url, xml::root& header, xml::root& body, xml::root& replyHeader,
                       xml::root& replyBody, str_t& error, long timeout);
};

} // namespace ORV
