// `xml::item`, an element or an attribute.
#pragma once

#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>
#include <orv/xml/buffer.hpp>
#include <orv/xml/list.hpp>

namespace xml {

// An element of a document; with its lists empty, an attribute; and, as a set of named children, a
// dictionary without regard to case.
//
// Values are raw text: nothing is decoded when read, nothing escaped when written. An element that
// was loaded keeps its content as one raw value; its children are parsed, one level, when somebody
// first asks for them. A value that begins with "<" and has no children beside it is such pending
// content, whoever put it there. Text between child elements is dropped then.
//
// One call that goes deep, such as `search`, takes time in proportion to the text. A host that
// visits a document level by level, each with a call of its own, has the content of an element read
// once for every level above it, so that the time grows with the square of the depth. To avoid
// that, `search` first for a name that there is not: it parses everything at once.
//
// Paths are names separated by "/"; a leading "/" and runs of "/" are skipped. They address child
// elements only. Each name is compared in the order described at `xml::list`.
//
// Copies are deep but share the text, pending content included. That is parsed in place, so the
// item that is asked first gets it all and a copy of it what is left: look below an item (`search`
// for a name that there is not) before copying it, if both are to be asked. A copy of a `root` that
// is a `root` itself stands alone.
//
// Null receivers: every member but assignment and `swap` may be called through a null pointer, as
// the result of a failed lookup; it answers null or false or does nothing. A compiler takes such a
// call for a promise that the pointer is not null, and may drop the host's own test behind it. So
// hosts are compiled with -fno-delete-null-pointer-checks, as the library is: the CMake target
// `orv::orv` and `orv.pc` hand that option on, and whoever uses neither gives it, or tests before
// the call. -fsanitize=undefined reports such calls unless -fno-sanitize=null goes with it.
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

    // The element at `path`, missing ones created on the way; this very item for an empty or null
    // path. Null only for a null receiver.
    item* operator[](const char* path);
    // The element at `section` and then `key`, both paths, null ones skipped; missing elements are
    // created, and `created` tells whether the last one was. Null only for a null receiver.
    item* get(const char* section, const char* key, bool& created);
    // The same without creating anything: null where there is no such element.
    item* get(const char* section, const char* key);
    // Whether there is a direct child of that name. The name is no path: "a/b" asks for "a".
    bool is_set(const char* name);
    // The first element of that name, this item included, depth first, children in name order; null
    // if there is none.
    item* search(const char* name);

    // The length of the name up to its delimiter, in bytes; 0 without a name.
    unsigned long nameLength() const;

    // Takes out the element that `get` would find at `path`, with all that is below it; its
    // siblings of the same name stay. False if there is none there, and for a null receiver and an
    // empty or null path. If memory runs out, nothing is taken out.
    bool remove(const char* path);

    // Drops value, attributes and children; name and buffer stay.
    void clear();
    // Replaces the text and drops the children; attributes stay. Null counts as empty, and the
    // value is never null afterwards. The text may be part of the present value.
    void setText(const char* text);

    // Reads one element from `position`, which lies in the text of `source`, into this item, which
    // is cleared and takes a reference to `source` in any case. The text is parsed in place.
    // Returns where reading stopped; null if `position` is null or the first tag is an end tag. An
    // item that got no name had no element to read.
    char* loadTag(xml::buffer* source, char* position);

    // Appends this element as compact markup. `level` changes nothing; pass 0.
    void save(str_t& out, int level) const;
    // Appends this element with a line for each tag and text, indented by `level` spaces and one
    // more for each level of nesting.
    void saveF(str_t& out, int level) const;

    xml::buffer* buffer = nullptr; // holds name and value; a counted reference, may be null
    const char* name = nullptr;    // ends at its first name delimiter; may be null
    char* value = nullptr;         // NUL-terminated; null is no value, which is not an empty one
    list children;
    list attributes;

private:
    friend class list;
    friend class root;

    // Gives the item a name and a value in a fresh buffer, with `name` read up to its first
    // delimiter. Children and attributes stay. Both texts may be those of the present buffer.
    ORV_LOCAL void hold(const char* name, const char* value);
};

} // namespace xml
