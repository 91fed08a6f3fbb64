#include <orv/buffers/bin.hpp>

#include <orv/buffers/bin_room.hpp>

#include <utility>

using buffers::bin_room;

void bin_t::binbuf_t::free(binbuf_t* block) { delete[] reinterpret_cast<char*>(block); }

bin_t::bin_t(const char* bytes, unsigned long count) { append(bytes, count); }

bin_t::bin_t(const bin_t& other) : block_(bin_room::share(other.block_)) {}

bin_t::~bin_t() { bin_room::drop(block_); }

bin_t& bin_t::operator=(const bin_t& other) {
    bin_room::share_instead(block_, other.block_);
    return *this;
}

bin_t& bin_t::operator=(bin_t&& other) noexcept {
    std::swap(block_, other.block_);
    if (this != &other)
        other.clear();
    return *this;
}

void bin_t::clear() { bin_room::drop(block_); }

void bin_t::put(unsigned long index, char c) { bin_room::put(block_, index, c); }

template <>
bin_t& bin_t::add<char>(char byte) {
    bin_room::append(block_, byte);
    return *this;
}

bin_t& bin_t::append(const char* bytes, unsigned long count) {
    bin_room::append(block_, bytes, count);
    return *this;
}

bin_t bin_t::reverse() const {
    bin_t result;
    result.block_ = bin_room::reversed(block_);
    return result;
}

bool operator==(const bin_t& a, const bin_t& b) { return bin_room::equal(a.block_, b.block_); }
