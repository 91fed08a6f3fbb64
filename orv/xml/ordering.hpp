// The order of items: where a name is among sorted ones, where one more of that name goes, and the
// order of items that are read at once. Not installed.
#pragma once

#include <orv/xml/item.hpp>
#include <orv/xml/name.hpp>

namespace xml {

struct position {
    unsigned long index; // of the equal item met first, or where to insert a new one
    bool found;

    // Where to insert another item of the same name: after the equal one met first.
    unsigned long behind() const { return index + (found ? 1 : 0); }
};

// These two are inlined wherever they are called: otherwise what a comparison captures would go
// through memory, and a look-up would take half as long again.

// Looks a key up among `count` items; `compare(i)` is less than, equal to or greater than 0 as the
// key sorts before, with or after item i. The last item is probed first, so that appending in
// sorted order takes one comparison. The order of the probes decides where duplicates are placed,
// and is part of the behaviour.
template <class Compare>
[[gnu::always_inline]] inline position probe(unsigned long count, Compare compare) {
    if (count == 0)
        return {0, false};
    const int with_last = compare(count - 1);
    if (with_last >= 0)
        return with_last == 0 ? position{count - 1, true} : position{count, false};

    unsigned long low = 0;
    unsigned long end = count - 1; // one past the last candidate
    while (low < end) {
        const unsigned long middle = (low + end) / 2; // of low and end - 1, rounded up
        const int order = compare(middle);
        if (order == 0)
            return {middle, true};
        if (order > 0)
            low = middle + 1;
        else
            end = middle;
    }
    return {low, false};
}

// Where a name, which must not be null, is among `count` items. If it is found, `end` is set to
// where the name ends.
[[gnu::always_inline]] inline position find_name(const item* items, unsigned long count,
                                                 const char* name, const char*& end) {
    return probe(
        count, [&](unsigned long i) { return compare_names(name, or_empty(items[i].name), end); });
}
// The same for a name that may be null.
inline position find_name(const item* items, unsigned long count, const char* name) {
    name = or_empty(name);
    return find_name(items, count, name, name);
}

// Moves items, at least one, into uninitialised memory for as many, in the order that adding them
// one after another with `list::add` would have given them: by name, repeated names where its
// search puts them. Takes O(n) steps for items that are sorted or nearly so, and O(n log n) for
// others. If memory runs out, the items stay where they were.
void order_as_added(item* out, const item* items, unsigned long count);

} // namespace xml
