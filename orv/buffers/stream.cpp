// `stream<0>`, which follows the room rule of text and bytes except in how it chooses a capacity
// and how it releases a block; and the formatting of times for the other streams.
#include <orv/buffers/stream.hpp>

#include <orv/buffers/room.hpp>
#include <orv/buffers/stream_reuse.hpp>

#include <algorithm>
#include <ctime>
#include <utility>

namespace buffers {

struct stream_traits {
    using block = stream<0>::block;
    static constexpr unsigned long spare = 4;
    static constexpr bool terminated = true;

    // Room for the text and its terminator is enough here, unlike in text and bytes.
    static bool fits(const block* at, unsigned long total) { return at->capacity >= total + 1; }

    static unsigned long capacity_for(const block* old, unsigned long total) {
        const unsigned long asked = total + 1;
        if (old && old->length != 0 && asked < old->length - 1)
            return old->length;
        return asked + asked / 2;
    }

    static void begin(block*) {}

    // Frees the block only if its count was 0 already, so that the last holder leaves it allocated.
    // This is the contract of the type and is kept.
    static void release(block* left) {
        if (left->refs-- == 0)
            delete[] reinterpret_cast<char*>(left);
    }
};

unsigned long format_time(char (&to)[100], long t, const char* format) {
    const std::time_t when = t == 0 ? std::time(nullptr) : t;
    std::tm parts{};
    tzset(); // as `localtime` does: the host may have changed its time zone
    if (!format || !localtime_r(&when, &parts))
        return 0;
    return std::strftime(to, sizeof to, format, &parts);
}

void stream_reuse::reserve(stream<0>& text, unsigned long bytes) {
    if (text.capacity() >= bytes)
        return;
    stream<0>::block* const outgrown = text.block_;
    // A stream makes its blocks half as large again as requested, so two thirds are requested.
    text.need(std::max(bytes - bytes / 3, text.capacity() + 1));
    if (outgrown)
        stream_traits::release(outgrown);
}

void stream_reuse::overwrite(stream<0>& text, unsigned long at, const char* bytes,
                             unsigned long count) {
    std::memcpy(text.block_->data() + at, bytes, count);
}

void stream_reuse::free(stream<0>& text) {
    stream<0>::block* const left = text.block_;
    text.block_ = nullptr;
    if (left && --left->refs == 0)
        stream_traits::release(left);
}

} // namespace buffers

using stream_room = buffers::room<buffers::stream_traits>;

stream<0>::stream(const stream& other) : block_(stream_room::share(other.block_)) {}

stream<0>::~stream() { stream_room::drop(block_); }

stream<0>& stream<0>::operator=(const stream& other) {
    stream_room::share_instead(block_, other.block_);
    return *this;
}

stream<0>& stream<0>::operator=(stream&& other) noexcept {
    std::swap(block_, other.block_);
    if (this != &other)
        other.clear();
    return *this;
}

void stream<0>::clear() {
    if (!block_)
        return;
    if (block_->refs > 1)
        return stream_room::drop(block_);
    block_->length = 0;
    stream_room::terminate(block_);
}

void stream<0>::need(unsigned long n) {
    if (n == 0 && !block_)
        return;
    const unsigned long total = n == 0 ? block_->length : buffers::checked(n - 1);
    stream_room::adopt(block_, stream_room::need(block_, total));
}

stream<0>& stream<0>::add(const char* bytes, unsigned long count) {
    stream_room::append(block_, bytes, count);
    return *this;
}

namespace {

stream<0>& add_decimal(stream<0>& to, unsigned long magnitude, bool negative) {
    char digits[48];
    char* const end = digits + sizeof digits;
    char* first = end;
    do {
        *--first = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (negative)
        *--first = '-';
    return to.add(first, static_cast<unsigned long>(end - first));
}

} // namespace

stream<0>& stream<0>::add(unsigned long v) { return add_decimal(*this, v, false); }

stream<0>& stream<0>::add(long v) {
    const unsigned long bits = static_cast<unsigned long>(v);
    return add_decimal(*this, v < 0 ? 0 - bits : bits, v < 0);
}
