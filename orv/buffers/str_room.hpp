// The room rule of `str_t`. Not installed.
#pragma once

#include <orv/buffers/room.hpp>
#include <orv/buffers/str.hpp>

namespace buffers {

struct str_traits : value_traits<str_t::strbuf_t, 2560> {
    static constexpr unsigned long spare = 0;
    static constexpr bool terminated = true;
};

using str_room = room<str_traits>;

} // namespace buffers
