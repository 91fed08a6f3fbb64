// An exchange with a server: attempts made one after another within the budget. Not installed.
#pragma once

#include <orv/http/message.hpp>

#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace transport {

// What is sent, where to, and what receives the reply.
struct exchange {
    const char* host;
    long port;
    const message& request;
    stream<0>& text; // to collect the reply in
    xml::root& reply_header;
    xml::root& reply_body;
    str_t& error;
};

// Makes whole attempts (connect, send, receive) until one gets a complete reply, none can, or
// `budget` ticks are spent. Returns the result of the request, with the reason in `error`.
int run(const exchange& with, long budget);

} // namespace transport
