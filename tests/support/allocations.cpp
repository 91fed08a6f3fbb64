#include "allocations.hpp"

#include <cstdlib>
#include <new>

namespace {

thread_local unsigned long count;

} // namespace

unsigned long allocations() { return count; }

void* operator new(std::size_t size) {
    ++count;
    if (void* memory = std::malloc(size ? size : 1))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
