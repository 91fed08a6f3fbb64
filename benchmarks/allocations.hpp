// How often the C++ heap is asked for memory, by the library as well.
#pragma once

#include <benchmark/benchmark.h>

// Counts from its making on and reports the allocations for each iteration.
class counted_allocations {
public:
    explicit counted_allocations(benchmark::State& state);
    ~counted_allocations();

private:
    benchmark::State& state_;
    unsigned long before_;
};
