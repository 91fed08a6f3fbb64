// The order of children and attributes that are read together. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

// Moves items, at least one, into uninitialised memory for as many, in the order that adding them
// one after another with `list::add` would have given them: by name, repeated names where its
// search puts them. Takes O(n) steps for items that are sorted or nearly so, and O(n log n) for
// others. If memory runs out, the items stay where they were.
void order_as_added(item* out, const item* items, unsigned long count);

} // namespace xml
