#include <orv/xml/expansion.hpp>

#include <orv/xml/array.hpp>
#include <orv/xml/end_tag_finder.hpp>
#include <orv/xml/ordering.hpp>
#include <orv/xml/parser.hpp>

#include <memory>
#include <utility>

namespace xml {

void expand(item& element, end_tag_finder& end_tags, unsigned long depth) {
    end_tags.enter(element.value, depth);
    collector found(element.buffer);
    // The content is dropped even if memory runs out: once cut up it is no longer content, and if
    // saved as such it would corrupt the document around it.
    char* at = std::exchange(element.value, nullptr);
    unsigned long references = 0;
    do {
        item& next = found.append();
        at = read_tag(next, at, end_tags);
        if (!next.name) {
            found.drop_last();
            break;
        }
        references += 1 + next.attributes.count;
    } while (at && *at != 0);
    found.finish(element.children);
    if (element.buffer)
        element.buffer->refs.fetch_add(references, std::memory_order_relaxed);
}

collector::~collector() {
    while (count_ > 0)
        drop_last();
    if (room_ != few)
        free_items(items_);
}

item& collector::append() {
    if (count_ == room_)
        grow();
    item& next = items_[count_++];
    zero_items(&next, 1);
    next.buffer = source_;
    return next;
}

void collector::drop_last() {
    item& last = items_[--count_];
    last.buffer = nullptr; // no reference has been counted
    for (unsigned long i = 0; i < last.attributes.count; ++i)
        last.attributes.items[i].buffer = nullptr;
    last.~item();
}

void collector::grow() {
    item* larger = allocate_items(growth * room_);
    move_items(larger, items_, count_);
    if (room_ != few)
        free_items(items_);
    items_ = larger;
    room_ *= growth;
}

void collector::finish(list& out) {
    if (count_ == 0)
        return;
    std::unique_ptr<item[], decltype(&free_items)> exact(allocate_items(count_), free_items);
    order_as_added(exact.get(), items_, count_);
    out.items = exact.release();
    out.count = count_;
    count_ = 0;
}

} // namespace xml
