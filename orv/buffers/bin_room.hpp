// The room rule of `bin_t`. Not installed.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/room.hpp>

namespace buffers {

struct bin_traits : value_traits<bin_t::binbuf_t, 256> {
    // Deliberate slack: the smallest byte block has the real room of the smallest text block.
    static constexpr unsigned long spare = 2304;
    static constexpr bool terminated = false;
};

using bin_room = room<bin_traits>;

// For loops of the library that append short runs of bytes: there is no call for each run.
class bin_appender {
public:
    explicit bin_appender(bin_t& to) : block_(to.block_) {}

    // Appends the first `count` of 16 bytes. All 16 are copied, the surplus into the spare bytes at
    // worst.
    void append(const unsigned char* bytes, unsigned long count) {
        if (count > 0)
            bin_room::extend(block_, count, [=](char* end) { std::memcpy(end, bytes, 16); });
    }

    // The bytes, if there are any; valid until the next append.
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(block_->data()); }

private:
    bin_t::binbuf_t*& block_;
};

} // namespace buffers
