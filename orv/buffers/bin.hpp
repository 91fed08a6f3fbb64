// `bin_t`, the library's bytes: the sibling of `str_t` for data in which zeros are ordinary.
#pragma once

#include <orv/buffers/block.hpp>
#include <orv/buffers/export.h>

namespace buffers {
class bin_appender;
}

// A byte string of any length, zeros included, in a shared block that is copied when written to.
//
// Sharing, growth, threads and errors are those of `str_t`, with these differences: the smallest
// declared capacity is 256, every block has 2304 more bytes beyond its capacity, and no terminator
// is kept.
class ORV_API bin_t {
public:
    struct ORV_API binbuf_t : buffers::block_header<binbuf_t> {
        // Frees a block; the `release` of every block made here. Null is ignored.
        static void free(binbuf_t* block);
    };
    using place = buffers::indexed<bin_t>;

    bin_t() = default;
    bin_t(const char* bytes, unsigned long count);
    bin_t(const bin_t& other);
    bin_t(bin_t&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~bin_t();

    bin_t& operator=(const bin_t& other);
    bin_t& operator=(bin_t&& other) noexcept;

    // The bytes; never null, and not terminated. Valid until the next write.
    const char* data() const { return block_ ? block_->data() : ""; }
    unsigned long length() const { return block_ ? block_->length : 0; }
    // The declared capacity of the block; 0 without a block.
    unsigned long capacity() const { return block_ ? block_->capacity : 0; }
    bool empty() const { return length() == 0; }
    // Drops the block.
    void clear();

    // The byte at `index`; 0 at or beyond the length.
    char operator[](unsigned long index) const {
        return index < length() ? block_->data()[index] : '\0';
    }
    // The same for reading and writing. A write at or beyond the length does nothing.
    place operator[](unsigned long index) { return place(*this, index); }
    void put(unsigned long index, char c);

    // Appends one byte, which may be zero; of a number, the low eight bits.
    template <class Byte>
    bin_t& add(Byte byte);
    // Appends `count` bytes, which may be this string's own; null changes nothing.
    bin_t& append(const char* bytes, unsigned long count);

    // The bytes in reverse order, as a new byte string.
    bin_t reverse() const;

    // Decodes base64. TAB, LF, CR and space are skipped, the first "=" ends the text, and any other
    // foreign character gives an empty result. A group of one to three leftover characters is
    // completed with zeros: one byte for one or two, two bytes for three. Null is empty text.
    static bin_t base64decode(const char* text);
    // Decodes base32 as people type it: either case, "0" for "O", "1" for "I"; TAB, space and "-"
    // are skipped; any other foreign character ends the text, keeping what came before it. A group
    // of one to seven leftover characters is completed with zeros and gives 1, 1, 2, 3, 3, 4 or 5
    // bytes, which is not the rule of RFC 4648. Null is empty text.
    static bin_t base32decode(const char* text);

    // Equal lengths and equal bytes.
    friend ORV_API bool operator==(const bin_t& a, const bin_t& b);
    friend bool operator!=(const bin_t& a, const bin_t& b) { return !(a == b); }

    // The block itself, for diagnosis; null for a byte string that was never written.
    const binbuf_t* block() const { return block_; }

private:
    friend class buffers::bin_appender;

    binbuf_t* block_ = nullptr;
};

template <>
ORV_API bin_t& bin_t::add<char>(char byte);

template <class Byte>
bin_t& bin_t::add(Byte byte) {
    return add<char>(static_cast<char>(byte));
}
