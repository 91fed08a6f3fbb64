// A part of a host that is loaded and unloaded with the library.
#include <orv/http/http.hpp>

extern "C" __attribute__((visibility("default"))) void send_request() {
    xml::root header, body("body"), reply_header, reply_body;
    str_t error;
    ORV::http::request("localhost", header, body, reply_header, reply_body, error, 0);
}
