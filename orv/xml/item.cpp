#include <orv/xml/item.hpp>

#include <orv/xml/expansion.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/probe.hpp>
#include <orv/xml/receiver.hpp>
#include <orv/xml/survey.hpp>

#include <utility>
#include <vector>

namespace xml {

namespace {

item* find(const list& in, const char* name) {
    const position at = probe(
        in.count, [&](unsigned long i) { return compare_names(name, or_empty(in.items[i].name)); });
    return at.found ? in.items + at.index : nullptr;
}

// The children, pending content parsed first: content is pending while there are no children and
// the value looks like markup.
list& children_of(item& element, survey& known) {
    if (element.children.count == 0 && element.value && *element.value == '<')
        expand(element, known);
    return element.children;
}

template <class Lookup>
item* walk(item* from, const char* path, Lookup lookup) {
    for (survey known;; ++known.depth) { // one text, as a rule, all along the path
        while (*path == '/')
            ++path;
        if (*path == 0 || !from)
            return from;
        from = lookup(children_of(*from, known), path);
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
    survey known;
    return !is_null(this) && find(children_of(*this, known), or_empty(child)) != nullptr;
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
    survey known;
    item* at = this;
    for (;;) {
        if (compare_names(wanted, or_empty(at->name)) == 0)
            return at;
        known.depth = open.size();
        const list& below = children_of(*at, known);
        if (below.count != 0)
            open.push_back({below.items, below.items + below.count});
        while (!open.empty() && open.back().next == open.back().end)
            open.pop_back();
        if (open.empty())
            return nullptr;
        at = open.back().next++;
    }
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
    char* value_at;
    xml::buffer* fresh = xml::buffer::create(new_name, new_value, value_at);
    if (buffer)
        buffer->release();
    buffer = fresh;
    name = fresh->text();
    value = value_at;
}

} // namespace xml
