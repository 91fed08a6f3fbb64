#include <orv/xml/buffer.hpp>

#include <orv/xml/name.hpp>

#include <cstring>
#include <new>

namespace xml {

namespace {

buffer* allocate(unsigned long length) {
    buffer* made = new (new char[sizeof(buffer) + length + 2]) buffer;
    made->size = length + 1;
    made->refs.store(1, std::memory_order_relaxed);
    made->text()[length] = 0;
    made->text()[length + 1] = 0;
    return made;
}

} // namespace

buffer* buffer::create(const char* text, unsigned long length) {
    buffer* made = allocate(length);
    if (length != 0)
        std::memcpy(made->text(), text, length);
    return made;
}

buffer* buffer::create(const char* name, const char* value, char*& value_at) {
    name = or_empty(name);
    value = or_empty(value);
    const unsigned long of_name = name_length(name);
    const unsigned long of_value = std::strlen(value);
    buffer* made = allocate(of_name + 1 + of_value);
    std::memcpy(made->text(), name, of_name);
    made->text()[of_name] = 0;
    value_at = made->text() + of_name + 1;
    std::memcpy(value_at, value, of_value);
    return made;
}

void buffer::release() {
    if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete[] reinterpret_cast<char*>(this);
}

} // namespace xml
