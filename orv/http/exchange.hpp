// An exchange with a server: attempts that follow one another within the budget. Not installed.
#pragma once

#include <orv/http/message.hpp>

#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace transport {

// What is sent where, and what receives the answer.
struct exchange {
    const char* host;
    long port;
    const message& request;
    stream<0>& text; // to collect the reply in
    xml::root& reply_header;
    xml::root& reply_body;
    str_t& error;
};

// Makes whole attempts (connect, send, receive) until one brings a complete reply or the budget of
// so many ticks is spent. Returns the result of the request, with the reason in `error`.
int run(const exchange& with, long budget);

} // namespace transport
