#include <orv/xml/root.hpp>

#include <utility>

namespace xml {

root::root(const char* element) { hold(element, nullptr); }

root::root(const root& other) : item(other) { hold(name, value); }

root& root::operator=(const item& source) {
    if (&source == this)
        return *this;
    // All is made before anything of ours goes, for the source may be part of this document.
    list copied_children(source.children);
    list copied_attributes(source.attributes);
    hold(source.name, source.value);
    children = std::move(copied_children);
    attributes = std::move(copied_attributes);
    return *this;
}

root& root::operator=(const root& source) { return *this = static_cast<const item&>(source); }

void root::load(const char* text, unsigned long length) {
    struct owned {
        xml::buffer* buffer;
        ~owned() { buffer->release(); }
    } const copy{xml::buffer::create(text, length)};
    loadTag(copy.buffer, copy.buffer->text());
}

} // namespace xml
