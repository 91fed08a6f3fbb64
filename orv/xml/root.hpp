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
    root(const root& other);
    // Takes deep copies of the source's children and attributes, which share its text, and its name
    // and value in a buffer of its own; a null value becomes an empty one. The source may be part
    // of this document. Assigning a document to itself does nothing.
    root& operator=(const item& source);
    root& operator=(const root& source);

    // Reads a document from a copy of `length` bytes of text, up to the first NUL in them: the
    // first element there, as `loadTag` does. All that was here goes. The text may be part of this
    // document. The first element is `?xml` if the text opens with an XML declaration, and the
    // document's own element is its child. Without an element in the text the document has no name
    // afterwards, and holds nothing.
    void load(const char* text, unsigned long length);
};

} // namespace xml
