// `xml::root`, an element that owns a document.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

// A whole document, for as long as its owner lives. In everything else an `xml::item`.
class ORV_API root : public item {
public:
    // A document without an element.
    root() = default;
    // A document of one empty element: its value is empty, not null.
    explicit root(const char* name);
    // A deep copy that stands alone: elements share the source's text, but name and value of the
    // document's own element, and of every one with pending content, are in buffers of the copy's
    // own. So it does not matter which of the two is looked into first, or in which thread. The
    // null value of the document's own element becomes an empty one; the copy of a document without
    // an element has none either. Assigning a document to itself does nothing.
    root(const root& other);
    root& operator=(const root& source);
    // Takes the whole document over, at the same cost whatever its size, and leaves one without an
    // element.
    root(root&& other) noexcept = default;
    root& operator=(root&& other) noexcept = default;
    // Takes deep copies of the source's children and attributes, and its name and value in a buffer
    // of its own; a null name or value becomes an empty one. The source may be part of this
    // document. Pending content of the children is shared with the source, as it is between items.
    root& operator=(const item& source);

    // Reads a document from a copy of `length` bytes of text, up to the first NUL in them: the
    // first element there, as `loadTag` does. All that was here goes. The text may be part of this
    // document. The first element is `?xml` if the text opens with an XML declaration, and the
    // document's own element is its child. Without an element in the text the document has no name
    // afterwards, and holds nothing.
    void load(const char* text, unsigned long length);
};

} // namespace xml
