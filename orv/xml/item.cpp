#include <orv/xml/item.hpp>

#include <orv/xml/content.hpp>
#include <orv/xml/expansion.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/probe.hpp>

#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace xml {

namespace {

item* find(const list& in, const char* name) {
    const position at = find(in.items, in.count, name);
    return at.found ? in.items + at.index : nullptr;
}

// For one text, as a rule, all along an operation; most operations find everything parsed.
using end_finder_if_needed = std::optional<end_finder>;

// The children, pending content parsed first: content is pending while there are no children and
// the value looks like markup.
list& children_of(item& element, end_finder_if_needed& ends, unsigned long depth) {
    if (element.children.count == 0 && element.value && *element.value == '<') {
        if (!ends)
            ends.emplace();
        expand(element, *ends, depth);
    }
    return element.children;
}

template <class Lookup>
item* walk(item* from, const char* path, Lookup lookup) {
    end_finder_if_needed ends;
    for (unsigned long depth = 0;; ++depth) {
        while (*path == '/')
            ++path;
        if (*path == 0 || !from)
            return from;
        from = lookup(children_of(*from, ends, depth), path);
        while (*path != '/' && *path != 0)
            ++path;
    }
}

} // namespace

item::item(const item& other)
    : name(other.name), value(other.value), children(other.children), attributes(other.attributes) {
    buffer = other.buffer; // last, for nobody would give the reference back if a copy failed
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
    if (is_null(this))
        return nullptr;
    const auto lookup = [&](list& in, const char* segment) { return in.get(segment, created); };
    item* found = section ? walk(this, section, lookup) : this;
    return key ? walk(found, key, lookup) : found;
}

item* item::get(const char* section, const char* key) {
    if (is_null(this))
        return nullptr;
    const auto lookup = [](list& in, const char* segment) { return find(in, segment); };
    item* found = section ? walk(this, section, lookup) : this;
    return key && found ? walk(found, key, lookup) : found;
}

bool item::is_set(const char* child) {
    end_finder_if_needed ends;
    return !is_null(this) && find(children_of(*this, ends, 0), child) != nullptr;
}

item* item::search(const char* wanted) {
    if (is_null(this))
        return nullptr;
    wanted = or_empty(wanted);
    struct siblings {
        item* next;
        item* end;
    };
    std::vector<siblings> open; // the way back up, in place of calls that a deep tree would exhaust
    end_finder_if_needed ends;
    item* at = this;
    for (;;) {
        if (compare_names(wanted, or_empty(at->name)) == 0)
            return at;
        const list& below = children_of(*at, ends, open.size());
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
    list* siblings = nullptr; // of what is found, unless that is this very item
    const item* const found = walk(this, or_empty(path), [&](list& in, const char* segment) {
        siblings = &in;
        return find(in, segment);
    });
    if (!found || !siblings)
        return false;
    siblings->take_out(static_cast<unsigned long>(found - siblings->items));
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
