// Lists are arrays of items that are moved bytewise: an item is a handful of pointers, none of them
// into itself. A tree may be as deep as memory allows, so copying and destroying one do not recurse
// for every level.
#include <orv/xml/list.hpp>

#include <orv/xml/array.hpp>
#include <orv/xml/ordering.hpp>

#include <utility>
#include <vector>

namespace xml {

namespace {

// References to be released. Usually all of them are to one text, whose count is then changed once
// for all; otherwise threads that share it would slow one another down.
class references {
public:
    references() = default;
    references(const references&) = delete;
    references& operator=(const references&) = delete;
    ~references() { give_back(); }

    void add(buffer* to) {
        if (to != to_) {
            give_back();
            to_ = to;
        }
        ++count_;
    }

private:
    void give_back() {
        if (!to_)
            return;
        if (count_ > 1)
            to_->refs.fetch_sub(count_ - 1, std::memory_order_release);
        to_->release();
        count_ = 0;
    }

    buffer* to_ = nullptr;
    unsigned long count_ = 0;
};

// Destroys the items of a list from the last to the first and frees its array, without recursing
// into their children: while the children of an item are destroyed, the way back is kept in the
// item's own child list, which is not in use by then.
void destroy(list& top, references& left) {
    item* items = std::exchange(top.items, nullptr);
    unsigned long count = std::exchange(top.count, 0);
    list above; // the array that holds the parent of `items`, and its position there
    for (;;) {
        while (count > 0) {
            item& last = items[count - 1];
            if (last.buffer)
                left.add(std::exchange(last.buffer, nullptr));
            if (last.attributes.items)
                destroy(last.attributes, left); // attributes have no lists of their own
            if (!last.children.items) {
                --count;
                continue;
            }
            std::swap(items, above.items);
            std::swap(count, above.count);
            std::swap(items, last.children.items);
            std::swap(count, last.children.count);
        }
        free_items(items);
        if (!above.items)
            return;
        items = std::exchange(above.items, nullptr);
        count = std::exchange(above.count, 0);
        item& done = items[count - 1];
        std::swap(above.items, done.children.items);
        std::swap(above.count, done.children.count);
        --count;
    }
}

struct pending_copy {
    const list* from;
    list* to;
};

// Copies the items of one list into an empty one, and queues the lists below for later. If memory
// runs out, what has been copied so far is a valid tree.
void copy_level(const pending_copy& job, std::vector<pending_copy>& later) {
    job.to->items = zeroed_items(job.from->count);
    job.to->count = job.from->count;
    for (unsigned long i = 0; i < job.from->count; ++i) {
        const item& source = job.from->items[i];
        item& target = job.to->items[i];
        target.buffer = source.buffer;
        if (target.buffer)
            target.buffer->addRef();
        target.name = source.name;
        target.value = source.value;
        if (source.children.count != 0)
            later.push_back({&source.children, &target.children});
        if (source.attributes.count != 0)
            later.push_back({&source.attributes, &target.attributes});
    }
}

} // namespace

list::list(const list& other) {
    if (other.count == 0)
        return;
    list made; // so that it is freed if memory runs out
    std::vector<pending_copy> later;
    copy_level({&other, &made}, later);
    while (!later.empty()) {
        const pending_copy job = later.back();
        later.pop_back();
        copy_level(job, later);
    }
    *this = std::move(made);
}

list::list(list&& other) noexcept
    : items(std::exchange(other.items, nullptr)), count(std::exchange(other.count, 0)) {}

list::~list() {
    if (!items)
        return;
    references left;
    destroy(*this, left);
}

list& list::operator=(const list& other) {
    if (this != &other)
        *this = list(other); // copied first, as `other` may be below one of this list's items
    return *this;
}

list& list::operator=(list&& other) noexcept {
    if (this == &other)
        return *this;
    list old;
    old.items = std::exchange(items, std::exchange(other.items, nullptr));
    old.count = std::exchange(count, std::exchange(other.count, 0));
    return *this;
}

item* list::get(const char* name, bool& created) {
    const position at = find_name(items, count, name);
    created = !at.found;
    if (at.found)
        return items + at.index;
    item fresh;
    fresh.hold(name, nullptr);
    return put(at.index, fresh);
}

item* list::set(const char* name, const char* value, bool& created) {
    const position at = find_name(items, count, name);
    created = !at.found;
    if (!at.found) {
        item fresh;
        fresh.hold(name, value); // an empty value stays empty; in an existing item it becomes null
        return put(at.index, fresh);
    }
    item* old = items + at.index;
    if (value && *value)
        old->hold(old->name, value);
    else
        old->value = nullptr;
    return old;
}

unsigned long list::add(const item& source) {
    item copy(source); // first, as the source may be in this list
    const unsigned long at = find_name(items, count, copy.name).behind();
    put(at, copy);
    return at;
}

// Moves an item into a new array, one item larger, and leaves it empty. Returns its new place.
item* list::put(unsigned long at, item& from) {
    item* larger = allocate_items(count + 1);
    move_items(larger, items, at);
    move_items(larger + at + 1, items + at, count - at);
    move_items(larger + at, &from, 1);
    zero_items(&from, 1);
    free_items(items);
    items = larger;
    ++count;
    return items + at;
}

// Destroys an item and moves the others into a new array, one item smaller.
void list::take_out(unsigned long at) {
    if (count == 1) {
        *this = list();
        return;
    }
    item* smaller = allocate_items(count - 1);
    move_items(smaller, items, at);
    move_items(smaller + at, items + at + 1, count - at - 1);
    items[at].~item();
    free_items(items);
    items = smaller;
    --count;
}

} // namespace xml
