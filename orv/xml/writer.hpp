// Writing markup to something other than a string. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

// Receives markup piece by piece.
struct sink {
    virtual void append(const char* bytes, unsigned long count) = 0;

protected:
    ~sink() = default;
};

// Writes what `item::save` appends.
void write_compact(const item& element, sink& out);

} // namespace xml
