// `str_t`, the library's text: a byte string in a shared block that is copied when written to.
#pragma once

#include <orv/buffers/block.hpp>
#include <orv/buffers/export.h>

// A byte string of any length, in no particular character set (UTF-8 passes through).
//
// Zeros: `append`, `addprintf` with %c and indexed writes can store them, and `reverse`, copies,
// `length` and comparison keep them; whatever takes or returns text as a `const char*` ends at the
// first.
//
// A copy shares the block and costs one increment; the first write through either copy makes a
// private one. An empty string that was never written has no block.
//
// Room: a block is made with room for half as much again as it is to hold, and at least 2560 bytes.
// One that replaces an empty block, which is shared or too small, has just the room that is needed
// instead, and at least 2560 bytes. A block is written in place only while a byte after the
// terminator stays free.
//
// Threads: not thread-safe. The reference count is a plain counter, so strings that share a block
// must belong to one thread. Errors: none are reported; null arguments count as empty text. If
// memory runs out, the allocator's exception propagates and the string is unchanged; so does
// `std::bad_array_new_length` for a length that cannot be added to the present one.
class ORV_API str_t {
public:
    struct ORV_API strbuf_t : buffers::block_header<strbuf_t> {
        // Frees a block; the `release` of every block made here. Null is ignored.
        static void free(strbuf_t* block);
    };
    using place = buffers::indexed<str_t>;

    str_t() = default;
    str_t(const char* text);
    str_t(const str_t& other);
    str_t(str_t&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~str_t();

    // Copies `text`, then drops the old text: `text` may point into this very string, which is
    // unchanged if memory runs out. Null or empty text leaves no block.
    str_t& operator=(const char* text);
    // Shares the other's block, then drops the old text; a move leaves the other empty.
    str_t& operator=(const str_t& other);
    str_t& operator=(str_t&& other) noexcept;

    // The text, always terminated; never null: "" without a block. Valid until the next write.
    const char* c_str() const { return block_ ? block_->data() : ""; }
    unsigned long length() const { return block_ ? block_->length : 0; }
    // The room of the block, terminator included; 0 without a block.
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

    // Appends one byte; a zero is ignored, so that no terminator is appended by mistake.
    str_t& add(char c);
    // Appends text; null or empty text changes nothing.
    str_t& operator<<(const char* text);
    // Appends `count` bytes, zeros included; they may be this string's own and its terminator. Null
    // changes nothing.
    str_t& append(const char* bytes, unsigned long count);
    // Appends formatted text in one pass. Its room is 4 bytes for each byte of the format and 1024
    // more, or what is free in the block if that is more; longer text is cut there. The arguments
    // must not point into this string.
    str_t& addprintf(const char* format, ...) ORV_PRINTF(2, 3);

    // The bytes in reverse order, as a new string.
    str_t reverse() const;

    // Base64 (RFC 4648, padded) of `size` bytes, with CR LF between every `line` characters of
    // output; `line` 0 gives one line. There is no break at the end. Null `data` gives an empty
    // string.
    static str_t base64code(const char* data, unsigned long size, unsigned long line);
    // Base32 (RFC 4648 alphabet, unpadded) of `size` bytes, with `separator` between every `group`
    // characters; `group` 0 gives one group. The character that holds the last, incomplete five
    // bits is never preceded by a separator. Null `data` gives an empty string.
    static str_t base32code(const char* data, unsigned long size, unsigned long group,
                            char separator);

    // Equal lengths and equal bytes.
    friend ORV_API bool operator==(const str_t& a, const str_t& b);
    friend bool operator!=(const str_t& a, const str_t& b) { return !(a == b); }

    // The block itself, for diagnosis; null for a string that was never written.
    const strbuf_t* block() const { return block_; }

private:
    strbuf_t* block_ = nullptr;
};
