// A document as text. Not installed.
#pragma once

#include <orv/buffers/str.hpp>
#include <orv/xml/item.hpp>

namespace transport {

// The compact text of a document.
inline str_t rendered(const xml::item& document) {
    str_t text;
    document.save(text, 0);
    return text;
}

} // namespace transport
