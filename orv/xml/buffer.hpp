// `xml::buffer`, the shared block of text that elements point into.
#pragma once

#include <orv/buffers/export.h>

#include <atomic>

namespace xml {

// A counted block of text, in one allocation:
//
//     +------+------+--------------------+-----+-----+
//     | size | refs | text               | NUL | NUL |
//     +------+------+--------------------+-----+-----+
//
// The text ends with two NULs, for the parser may look one byte behind the first. The parser writes
// NULs into the text, so a block that has been parsed is no ordinary string any more.
//
// Threads: the count is atomic, so documents that share a block may be used by different threads;
// the text is parsed by one.
struct ORV_API buffer {
    unsigned long size;              // length of the text and one; informational
    std::atomic<unsigned long> refs; // items that point here, and the maker's own reference

    // A block with a copy of `length` bytes of text, two NULs behind them and a count of 1.
    static buffer* create(const char* text, unsigned long length);

    char* text() { return reinterpret_cast<char*>(this + 1); }

    void addRef() { refs.fetch_add(1, std::memory_order_relaxed); }
    // Gives a reference back; the last one frees the block.
    void release();

private:
    friend class item;

    // A block with room for that much text, which remains to be written.
    ORV_LOCAL static buffer* allocate(unsigned long length);
};

} // namespace xml
