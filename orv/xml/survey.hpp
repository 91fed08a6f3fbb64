// What has been found out about a text in the course of one operation, which may read many levels
// of it. Not installed.
#pragma once

#include <orv/xml/content.hpp>
#include <orv/xml/tag_index.hpp>

namespace xml {

struct survey {
    plain_stretch plain;
    tag_index tags;          // made when an operation gets deep
    unsigned long depth = 0; // of the element at hand, below the one where the operation began
};

} // namespace xml
