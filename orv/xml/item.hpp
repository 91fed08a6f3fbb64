// `xml::item`, an element or an attribute.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>
#include <orv/xml/buffer.hpp>
#include <orv/xml/list.hpp>

namespace xml {

// An element of a document; with empty lists, an attribute; and, as a set of named children, a
// case-insensitive dictionary.
//
// Values are raw text: nothing is decoded on reading, nothing escaped on writing. A loaded element
// keeps its content as one raw value; its children are parsed, one level at a time, when they are
// first asked for. A value that begins with "<" in an element without children is such pending
// content, whoever put it there. Parsing it drops the text between child elements.
//
// A single call that goes deep, such as `search`, takes time proportional to the text. A host that
// visits a document level by level, with a call for each, causes the content of an element to be
// read once for every level above it, so the time grows with the square of the depth. To avoid
// that, first `search` for a name that does not occur: this parses everything at once.
//
// Paths are names separated by "/"; a leading "/" and runs of "/" are skipped. They address child
// elements only. Each name is compared as described at `xml::list`.
//
// Copies are deep but share the text, pending content included. Such content is parsed in place, so
// the first item to be asked gets all of it, and the other copies get what is left: if both are to
// be asked, look below an item (`search` for a name that does not occur) before copying it. A
// `root` copied from a `root` is independent of it.
//
// Null receivers: every member but assignment and `swap` may be called through a null pointer, such
// as the result of a failed lookup; it returns null, false or 0, or does nothing. A compiler takes
// such a call as a promise that the pointer is not null, and may remove the host's own test after
// it. Hosts are therefore compiled with -fno-delete-null-pointer-checks, as the library is: the
// CMake target `orv::orv` and `orv.pc` pass that option on; a host that uses neither must give it,
// or test before the call. -fsanitize=undefined reports such calls unless -fno-sanitize=null is
// given too.
//
// Threads: one at a time, since even lookups change the tree. Items in different trees may share
// text across threads if no pending content is shared. Errors: none are reported; only the
// allocator's exception passes through.
class ORV_API item {
public:
    item() = default;
    item(const item& other);
    item(item&& other) noexcept;
    ~item();
    item& operator=(const item& other);
    item& operator=(item&& other) noexcept;
    // Neither item may be below the other.
    void swap(item& other) noexcept;

    // The element at `path`; missing elements on the way are created. This item itself if the path
    // is empty or null. Null only for a null receiver.
    item* operator[](const char* path);
    // The element at `section` and then `key`, both paths; null ones are skipped. Missing elements
    // are created; `created` tells whether the last one was. Null only for a null receiver.
    item* get(const char* section, const char* key, bool& created);
    // The same without creating anything: null if there is no such element.
    item* get(const char* section, const char* key);
    // Whether there is a direct child of that name. The name is not a path: "a/b" asks for "a".
    bool is_set(const char* name);
    // The first element of that name, this item included, depth first, children in name order; null
    // if there is none.
    item* search(const char* name);

    // The length of the name up to its delimiter, in bytes; 0 without a name.
    unsigned long nameLength() const;

    // Removes the element that `get` would find at `path`, with everything below it; its siblings
    // of the same name stay. False if there is none, the receiver is null, or the path is empty or
    // null. If memory runs out, nothing is removed.
    bool remove(const char* path);

    // Drops the value, attributes and children; the name and the buffer stay.
    void clear();
    // Replaces the text and drops the children; attributes stay. Null counts as empty, and the
    // value is never null afterwards. The text may be part of the current value.
    void setText(const char* text);

    // Reads one element from `position`, which lies in the text of `source`, into this item, which
    // is cleared and takes a reference to `source` in any case. The text is parsed in place.
    // Returns where reading stopped; null if `position` is null or the first tag is an end tag. An
    // item without a name afterwards means that there was no element to read.
    char* loadTag(xml::buffer* source, char* position);

    // Appends this element as compact markup. `level` has no effect; pass 0.
    void save(str_t& out, int level) const;
    // Appends this element with a line for each tag and text, indented by `level` spaces and one
    // more for each level of nesting.
    void saveF(str_t& out, int level) const;

    xml::buffer* buffer = nullptr; // holds name and value; a counted reference, may be null
    const char* name = nullptr;    // ends at its first name delimiter; may be null
    char* value = nullptr;         // NUL-terminated; null is no value, unlike an empty one
    list children;
    list attributes;

private:
    friend class list;
    friend class root;

    // Gives the item a name and a value in a fresh buffer, with `name` read up to its first
    // delimiter. Children and attributes stay. Both texts may be those of the current buffer.
    ORV_LOCAL void hold(const char* name, const char* value);
};

} // namespace xml
