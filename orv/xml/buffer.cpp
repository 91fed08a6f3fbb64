#include <orv/xml/buffer.hpp>

#include <cstring>
#include <new>

namespace xml {

buffer* buffer::allocate(unsigned long length) {
    if (length > ~0ul - sizeof(buffer) - 2)
        throw std::bad_array_new_length();
    buffer* made = new (new char[sizeof(buffer) + length + 2]) buffer;
    made->size = length + 1;
    made->refs.store(1, std::memory_order_relaxed);
    made->text()[length] = 0;
    made->text()[length + 1] = 0;
    return made;
}

buffer* buffer::create(const char* text, unsigned long length) {
    buffer* made = allocate(length);
    if (length != 0)
        std::memcpy(made->text(), text, length);
    return made;
}

void buffer::release() {
    if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete[] reinterpret_cast<char*>(this);
}

} // namespace xml
