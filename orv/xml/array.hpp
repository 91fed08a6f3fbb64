// Arrays of items as raw memory: items are made by zeroing and moved bytewise, without running
// constructors or destructors. Not installed.
#pragma once

#include <orv/xml/item.hpp>

#include <cstring>
#include <new>

namespace xml {

inline item* allocate_items(unsigned long count) {
    if (count > ~0ul / sizeof(item))
        throw std::bad_array_new_length();
    return static_cast<item*>(::operator new[](count * sizeof(item)));
}

inline void free_items(item* items) { ::operator delete[](items); }

inline void zero_items(item* items, unsigned long count) {
    std::memset(static_cast<void*>(items), 0, count * sizeof(item));
}

inline item* zeroed_items(unsigned long count) {
    item* items = allocate_items(count);
    zero_items(items, count);
    return items;
}

// The ranges may overlap. Vacated items must then be zeroed or freed.
inline void move_items(item* to, const item* from, unsigned long count) {
    if (count != 0)
        std::memmove(static_cast<void*>(to), static_cast<const void*>(from), count * sizeof(item));
}

} // namespace xml
