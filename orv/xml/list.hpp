// `xml::list`, the sorted array of an element's children or attributes.
#pragma once

#include <orv/buffers/export.h>

namespace xml {

class item;

// Items sorted by name, in an array without spare room.
//
// Name order: bytes are compared with "A" to "Z" folded to lower case, up to the first name
// delimiter (NUL, TAB, LF, CR, space, "/", "=", ">"); bytes from 0x80 up are negative and sort
// before ASCII. A null name counts as the empty name. Names may repeat: `add` creates duplicates,
// and so does loading.
//
// Pointers to items are valid until the list that holds them is changed. Copies are deep, but share
// the text. Threads: one at a time. Errors: if memory runs out, the allocator's exception passes
// through and the list is as it was.
class ORV_API list {
public:
    list() = default;
    list(const list& other);
    list(list&& other) noexcept;
    ~list();
    list& operator=(const list& other);
    list& operator=(list&& other) noexcept;

    // The item of that name, created with an empty (not null) value if there is none; `created`
    // tells whether it was. Never null.
    item* get(const char* name, bool& created);
    // Gives the item of that name a value, keeping its children and attributes. An empty or null
    // `value` makes the value of an existing item null, but that of a new item empty; the
    // difference is intended. Never returns null.
    item* set(const char* name, const char* value, bool& created);
    // Inserts a deep copy of `source` and returns its index. It is placed after the last item if
    // that is equal, else after the equal item that the search meets first.
    unsigned long add(const item& source);

    item* items = nullptr;
    unsigned long count = 0;

private:
    friend class item;

    ORV_LOCAL item* put(unsigned long at, item& from);
    ORV_LOCAL void take_out(unsigned long at);
};

} // namespace xml
