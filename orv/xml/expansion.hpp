// How pending content becomes child elements. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

class end_tag_finder;

// Parses the pending content of an element, which has no children, into child elements, and makes
// its value null. `depth` is how many levels below the first one of the operation that is.
void expand(item& element, end_tag_finder& end_tags, unsigned long depth);

// Collects items of one text in their order and makes of them the list that `list::add`, called for
// one after the other, would have made (ordering.hpp). Until then the array has room to spare. The
// references of the items to the text remain to be counted, all at once.
class collector {
public:
    // `source` may be null.
    explicit collector(buffer* source) : source_(source) {}
    collector(const collector&) = delete;
    collector& operator=(const collector&) = delete;
    ~collector();

    // An item behind the others, empty but for its buffer.
    item& append();
    // Takes the last item away again.
    void drop_last();
    // Orders the items and hands them over to an empty list.
    void finish(list& out);

private:
    void grow();

    // Most start tags have no more attributes than this, which then go through the heap but once.
    static constexpr unsigned long few = 8;
    static constexpr unsigned long growth = 4; // the array is short-lived
    buffer* source_;
    alignas(item) unsigned char local_[few * sizeof(item)];
    item* items_ = reinterpret_cast<item*>(local_);
    unsigned long count_ = 0;
    unsigned long room_ = few;
};

} // namespace xml
