#include "allocations.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<unsigned long> allocated;
}

counted_allocations::counted_allocations(benchmark::State& state)
    : state_(state), before_(allocated.load()) {}

counted_allocations::~counted_allocations() {
    state_.counters["allocations"] = benchmark::Counter(
        static_cast<double>(allocated.load() - before_), benchmark::Counter::kAvgIterations);
}

void* operator new(std::size_t size) {
    // One thread at a time is measured: no need for a locked increment.
    allocated.store(allocated.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (void* made = std::malloc(size != 0 ? size : 1))
        return made;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
