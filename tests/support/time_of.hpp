// How long something takes.
#pragma once

#include <chrono>

// In milliseconds.
template <class Action>
double time_of(Action act) {
    const auto start = std::chrono::steady_clock::now();
    act();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    return took.count();
}
