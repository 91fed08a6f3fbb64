#include <orv/xml/root.hpp>

#include <utility>
#include <vector>

namespace xml {

root::root(const char* element) { hold(element, nullptr); }

// Pending content is parsed in place, so all text that may become such content is copied too.
root::root(const root& other) : item(other) {
    const auto take_text = [](item& from) {
        const bool has_name = from.name != nullptr;
        from.hold(from.name, from.value);
        if (!has_name)
            from.name = nullptr;
    };
    take_text(*this);
    std::vector<const list*> levels = {&attributes, &children};
    while (!levels.empty()) {
        const list& level = *levels.back();
        levels.pop_back();
        for (unsigned long i = 0; i < level.count; ++i) {
            item& each = level.items[i];
            if (each.value && *each.value == '<')
                take_text(each);
            if (each.attributes.count != 0)
                levels.push_back(&each.attributes);
            if (each.children.count != 0)
                levels.push_back(&each.children);
        }
    }
}

root& root::operator=(const item& source) {
    if (&source == this)
        return *this;
    // Everything is copied before anything is released, as the source may be part of this document.
    list copied_children(source.children);
    list copied_attributes(source.attributes);
    hold(source.name, source.value);
    children = std::move(copied_children);
    attributes = std::move(copied_attributes);
    return *this;
}

root& root::operator=(const root& source) {
    if (&source != this)
        *this = root(source);
    return *this;
}

void root::load(const char* text, unsigned long length) {
    struct owned {
        xml::buffer* buffer;
        ~owned() { buffer->release(); }
    } const copy{xml::buffer::create(text, length)};
    loadTag(copy.buffer, copy.buffer->text());
}

} // namespace xml
