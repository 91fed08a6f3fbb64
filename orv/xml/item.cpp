#include <orv/xml/item.hpp>

#include <orv/xml/end_tag_finder.hpp>
#include <orv/xml/expansion.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/ordering.hpp>

#include <cstring>
#include <utility>
#include <vector>

namespace xml {

namespace {

// The children, after parsing pending content: content is pending while there are no children and
// the value looks like markup.
list& children_of(item& element, end_tag_finder& end_tags, unsigned long depth) {
    if (element.children.count == 0 && element.value && *element.value == '<')
        expand(element, end_tags, depth);
    return element.children;
}

// An element and the list that it is in.
struct place {
    item* at;
    list* in;
};

// Follows two paths, the second from where the first one ends; either may be null. Missing elements
// are created if `created` is not null, and it is then set to true. The list is null if the walk
// ends where it began.
place walk(item* from, const char* section, const char* key, bool* created) {
    end_tag_finder end_tags;
    unsigned long depth = 0;
    place here = {from, nullptr};
    for (const char* path : {section, key}) {
        if (!path)
            continue;
        for (;; ++depth) {
            while (*path == '/')
                ++path;
            if (*path == 0 || !here.at)
                break;
            list& in = children_of(*here.at, end_tags, depth);
            const char* const name = path;
            const position found = find_name(in.items, in.count, name, path);
            here.in = &in;
            here.at = found.found ? in.items + found.index
                      : created   ? in.get(name, *created)
                                  : nullptr;
            while (*path != '/' && *path != 0)
                ++path;
        }
    }
    return here;
}

} // namespace

item::item(const item& other)
    : name(other.name), value(other.value), children(other.children), attributes(other.attributes) {
    buffer = other.buffer; // last: nothing would release the reference if copying a list failed
    if (buffer)
        buffer->addRef();
}

item::item(item&& other) noexcept { swap(other); }

item::~item() {
    if (buffer)
        buffer->release();
}

item& item::operator=(const item& other) {
    item copy(other);
    swap(copy);
    return *this;
}

item& item::operator=(item&& other) noexcept {
    item taken(std::move(other));
    swap(taken);
    return *this;
}

void item::swap(item& other) noexcept {
    std::swap(buffer, other.buffer);
    std::swap(name, other.name);
    std::swap(value, other.value);
    std::swap(children, other.children);
    std::swap(attributes, other.attributes);
}

item* item::operator[](const char* path) {
    bool created;
    return is_null(this) ? nullptr : get(path, nullptr, created);
}

item* item::get(const char* section, const char* key, bool& created) {
    created = false;
    return is_null(this) ? nullptr : walk(this, section, key, &created).at;
}

item* item::get(const char* section, const char* key) {
    return is_null(this) ? nullptr : walk(this, section, key, nullptr).at;
}

bool item::is_set(const char* child) {
    if (is_null(this))
        return false;
    end_tag_finder end_tags;
    const list& in = children_of(*this, end_tags, 0);
    return find_name(in.items, in.count, child).found;
}

item* item::search(const char* wanted) {
    if (is_null(this))
        return nullptr;
    wanted = or_empty(wanted);
    struct siblings {
        item* next;
        item* end;
    };
    std::vector<siblings> open; // the way back up; a deep tree would exhaust the call stack
    end_tag_finder end_tags;
    item* at = this;
    for (;;) {
        if (compare_names(wanted, or_empty(at->name)) == 0)
            return at;
        const list& below = children_of(*at, end_tags, open.size());
        if (below.count != 0)
            open.push_back({below.items, below.items + below.count});
        while (!open.empty() && open.back().next == open.back().end)
            open.pop_back();
        if (open.empty())
            return nullptr;
        at = open.back().next++;
    }
}

bool item::remove(const char* path) {
    if (is_null(this))
        return false;
    const place found = walk(this, path, nullptr, nullptr);
    if (!found.at || !found.in)
        return false;
    found.in->take_out(static_cast<unsigned long>(found.at - found.in->items));
    return true;
}

unsigned long item::nameLength() const { return is_null(this) || !name ? 0 : name_length(name); }

void item::clear() {
    if (is_null(this))
        return;
    value = nullptr;
    attributes = list();
    children = list();
}

void item::setText(const char* text) {
    if (is_null(this))
        return;
    hold(name, text);
    children = list();
}

void item::hold(const char* new_name, const char* new_value) {
    new_name = or_empty(new_name);
    new_value = or_empty(new_value);
    const unsigned long of_name = name_length(new_name);
    const unsigned long of_value = std::strlen(new_value);
    xml::buffer* fresh = xml::buffer::allocate(of_name + 1 + of_value);
    char* const name_at = fresh->text();
    char* const value_at = name_at + of_name + 1;
    std::memcpy(name_at, new_name, of_name);
    name_at[of_name] = 0;
    std::memcpy(value_at, new_value, of_value + 1);
    if (buffer)
        buffer->release();
    buffer = fresh;
    name = name_at;
    value = value_at;
}

} // namespace xml
