#include <orv/buffers/str.hpp>

#include <orv/buffers/str_room.hpp>

#include <cstdarg>
#include <cstdio>
#include <utility>

using buffers::str_room;

void str_t::strbuf_t::free(strbuf_t* block) { delete[] reinterpret_cast<char*>(block); }

str_t::str_t(const char* text) { *this << text; }

str_t::str_t(const str_t& other) : block_(str_room::share(other.block_)) {}

str_t::~str_t() { str_room::drop(block_); }

str_t& str_t::operator=(const char* text) {
    str_t copy(text); // first, as the text may be our own
    return *this = std::move(copy);
}

str_t& str_t::operator=(const str_t& other) {
    str_room::share_instead(block_, other.block_);
    return *this;
}

str_t& str_t::operator=(str_t&& other) noexcept {
    std::swap(block_, other.block_);
    if (this != &other)
        other.clear();
    return *this;
}

void str_t::clear() { str_room::drop(block_); }

void str_t::put(unsigned long index, char c) { str_room::put(block_, index, c); }

str_t& str_t::add(char c) {
    if (c != 0)
        str_room::append(block_, c);
    return *this;
}

str_t& str_t::operator<<(const char* text) {
    return text ? append(text, std::strlen(text)) : *this;
}

str_t& str_t::append(const char* bytes, unsigned long count) {
    str_room::append(block_, bytes, count);
    return *this;
}

str_t& str_t::addprintf(const char* format, ...) {
    if (!format)
        return *this;
    const unsigned long old_length = length();
    strbuf_t* to = str_room::need(block_, buffers::sum(old_length, 4 * std::strlen(format) + 1024));
    str_room::adopt(block_, to);

    char* end = to->data() + old_length;
    const unsigned long limit = to->capacity - old_length - 1;
    va_list arguments;
    va_start(arguments, format);
    const int formatted = std::vsnprintf(end, limit, format, arguments);
    va_end(arguments);

    // One pass only: what did not fit has been cut, and only what was written is counted.
    if (formatted > 0) {
        const unsigned long wanted = static_cast<unsigned long>(formatted);
        to->length = old_length + (wanted < limit ? wanted : limit - 1);
    }
    str_room::terminate(to);
    return *this;
}

str_t str_t::reverse() const {
    str_t result;
    result.block_ = str_room::reversed(block_);
    return result;
}

bool operator==(const str_t& a, const str_t& b) { return str_room::equal(a.block_, b.block_); }
