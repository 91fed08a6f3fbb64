// Plain arrays of limbs, the lowest first. Not installed.
#pragma once

#include <cstdint>

namespace bigint {

using limb_t = unsigned int;
static_assert(sizeof(limb_t) == 4);

// The number of limbs that remain without zero limbs at the top.
inline unsigned long stripped(const limb_t* limbs, unsigned long count) {
    while (count > 0 && limbs[count - 1] == 0)
        --count;
    return count;
}

// Divides in place by a limb that is not zero and returns the remainder.
inline limb_t divide_by_limb(limb_t* limbs, unsigned long count, limb_t divisor) {
    std::uint64_t rest = 0;
    for (unsigned long i = count; i-- > 0;) {
        rest = rest << 32 | limbs[i];
        limbs[i] = static_cast<limb_t>(rest / divisor);
        rest %= divisor;
    }
    return static_cast<limb_t>(rest);
}

// Halves in place.
inline void halve(limb_t* limbs, unsigned long count) {
    for (unsigned long i = 0; i + 1 < count; ++i)
        limbs[i] = limbs[i] >> 1 | limbs[i + 1] << 31;
    if (count > 0)
        limbs[count - 1] >>= 1;
}

} // namespace bigint
