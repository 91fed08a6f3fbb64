#include "allocations.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace support {

namespace {

constexpr unsigned long most = 1 << 28; // no test needs as much at once

std::atomic<long> blocks{0};
std::atomic<long> failed{0};
std::atomic<bool> others_fail{false};
thread_local bool chosen = false; // by this thread, what fails
thread_local failure kind = failure::once;
thread_local long left = 0; // allocations till the first that fails

bool fails() {
    if (!chosen)
        return others_fail;
    if (kind == failure::of_others || --left > 0)
        return false;
    return kind == failure::lasting || left == 0;
}

void* allocate(unsigned long size) {
    void* const made = fails() || size > most ? nullptr : std::malloc(size);
    ++(made ? blocks : failed);
    return made;
}

void* allocate_or_throw(unsigned long size) {
    if (void* const made = allocate(size))
        return made;
    throw std::bad_alloc();
}

void release(void* block) {
    blocks -= block != nullptr;
    std::free(block);
}

} // namespace

long live_blocks() { return blocks; }

void fail_allocations(failure which, long n) {
    failed = 0;
    kind = which;
    left = n;
    chosen = true;
    others_fail = which == failure::of_others;
}

long stop_failing() {
    chosen = others_fail = false;
    return failed;
}

} // namespace support

using namespace support;

void* operator new(unsigned long size) { return allocate_or_throw(size); }
void* operator new[](unsigned long size) { return allocate_or_throw(size); }
void* operator new(unsigned long size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, unsigned long) noexcept { release(block); }
void operator delete[](void* block, unsigned long) noexcept { release(block); }
