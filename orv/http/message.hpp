// The message of a request. Not installed.
#pragma once

#include <orv/buffers/str.hpp>
#include <orv/buffers/stream.hpp>
#include <orv/xml/root.hpp>

namespace transport {

// Adds the header lines that a request cannot do without; those that are there stay.
void add_default_lines(xml::root& header);
// Sets the two header lines that follow from the URL and the body.
void set_computed_lines(xml::root& header, const char* host, long port, unsigned long body_length);
// Puts the message together, in place of what `message` holds: the request line, a line for each
// child of `header`, an empty line and the body.
void compose(const stream<0>& path, const xml::root& header, const str_t& body, stream<0>& message);

} // namespace transport
