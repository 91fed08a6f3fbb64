// The room rule of `bin_t`. Not installed.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/room.hpp>

namespace buffers {

struct bin_traits {
    using block = bin_t::binbuf_t;
    static constexpr unsigned long smallest = 256;
    // Deliberate slack: the smallest byte block has the real room of the smallest text block.
    static constexpr unsigned long spare = 2304;
    static constexpr bool terminated = false;
};

using bin_room = room<bin_traits>;

} // namespace buffers
