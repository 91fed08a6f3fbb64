#include "allocations.hpp"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace support {

namespace {

std::atomic<long> blocks{0};
std::atomic<long> bytes{0};
std::atomic<bool> others_fail{false};
std::atomic<long> failed{0};

thread_local unsigned long count = 0;
thread_local bool armed = false;
thread_local failure kind = failure::once;
thread_local long left = 0; // allocations till the first that fails

bool fails() {
    if (!armed)
        return others_fail;
    if (kind == failure::of_others || --left > 0)
        return false;
    return kind == failure::lasting || left == 0;
}

void* allocate(unsigned long size) {
    ++count;
    if (fails()) {
        ++failed;
        return nullptr;
    }
    void* made = std::malloc(size == 0 ? 1 : size);
    if (made) {
        ++blocks;
        bytes += static_cast<long>(malloc_usable_size(made));
    }
    return made;
}

void* allocate_or_throw(unsigned long size) {
    if (void* made = allocate(size))
        return made;
    throw std::bad_alloc();
}

void release(void* block) {
    if (!block)
        return;
    --blocks;
    bytes -= static_cast<long>(malloc_usable_size(block));
    std::free(block);
}

} // namespace

unsigned long allocations() { return count; }

live_memory live() { return {blocks, bytes}; }

void fail_allocations(failure which, long n) {
    failed = 0;
    kind = which;
    left = n;
    armed = true;
    others_fail = which == failure::of_others;
}

long failures() { return failed; }

long stop_failing() {
    armed = false;
    others_fail = false;
    return failed;
}

} // namespace support

void* operator new(unsigned long size) { return support::allocate_or_throw(size); }
void* operator new[](unsigned long size) { return support::allocate_or_throw(size); }
void* operator new(unsigned long size, const std::nothrow_t&) noexcept {
    return support::allocate(size);
}
void* operator new[](unsigned long size, const std::nothrow_t&) noexcept {
    return support::allocate(size);
}
void operator delete(void* block) noexcept { support::release(block); }
void operator delete[](void* block) noexcept { support::release(block); }
void operator delete(void* block, unsigned long) noexcept { support::release(block); }
void operator delete[](void* block, unsigned long) noexcept { support::release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { support::release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { support::release(block); }
