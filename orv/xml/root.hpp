// `xml::root`, an element that owns a document.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

// Holds a whole document for as long as it lives. In every other respect it is an `xml::item`.
class ORV_API root : public item {
public:
    // A document without an element.
    root() = default;
    // A document of one empty element: its value is empty, not null.
    explicit root(const char* name);
    // A deep, independent copy: elements share the source's text, but the name and value of the
    // document's own element, and of every element with pending content, are in buffers of the
    // copy's own. So it does not matter which of the two is examined first, or in which thread. A
    // null value of the document's own element becomes empty; the copy of a document without an
    // element has none either. Assigning a document to itself does nothing.
    root(const root& other);
    root& operator=(const root& source);
    // Takes over the whole document, at a cost independent of its size, and leaves the source
    // without an element.
    root(root&& other) noexcept = default;
    root& operator=(root&& other) noexcept = default;
    // Copies the source's children and attributes deeply, and its name and value into a buffer of
    // this document's own; a null name or value becomes empty. The source may be part of this
    // document. Pending content of the children is shared with the source, as between items.
    root& operator=(const item& source);

    // Reads a document from a copy of `length` bytes of text, up to the first NUL in them: the
    // first element there, as `loadTag` does. All previous content is dropped. The text may be part
    // of this document. If the text opens with an XML declaration, the first element is `?xml` and
    // the document's own element is its child. If the text contains no element, the document has no
    // name afterwards and holds nothing.
    void load(const char* text, unsigned long length);
};

} // namespace xml
