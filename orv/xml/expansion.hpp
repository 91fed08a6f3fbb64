// Turning pending content into child elements. Not installed.
#pragma once

#include <orv/xml/item.hpp>

namespace xml {

class end_tag_finder;

// Parses the pending content of an element, which has no children, into child elements, and makes
// its value null. `depth` is the number of levels that this is below the operation's first one.
void expand(item& element, end_tag_finder& end_tags, unsigned long depth);

// Collects the items of one text in their order and turns them into the list that calling
// `list::add` for one after another would have built (ordering.hpp). Until then the array has room
// to spare. The items' references to the text remain for the caller to count, all at once.
class collector {
public:
    // `source` may be null.
    explicit collector(buffer* source) : source_(source) {}
    collector(const collector&) = delete;
    collector& operator=(const collector&) = delete;
    ~collector();

    // Appends an item that is empty but for its buffer.
    item& append();
    // Removes the last item.
    void drop_last();
    // Orders the items and moves them into an empty list.
    void finish(list& out);

private:
    void grow();

    // Most start tags have no more attributes than this, which are then allocated only once.
    static constexpr unsigned long few = 8;
    static constexpr unsigned long growth = 4; // the array is short-lived
    buffer* source_;
    alignas(item) unsigned char local_[few * sizeof(item)];
    item* items_ = reinterpret_cast<item*>(local_);
    unsigned long count_ = 0;
    unsigned long room_ = few;
};

} // namespace xml
