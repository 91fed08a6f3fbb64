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
// Two NULs end the text, because the parser may look one byte past the first. The parser writes
// NULs into the text, so a block that has been parsed is no longer an ordinary string.
//
// Threads: the count is atomic, so documents that share a block may be used by different threads;
// only one of them may parse the text.
struct ORV_API buffer {
    unsigned long size;              // length of the text plus one; informational
    std::atomic<unsigned long> refs; // items that point here, plus the creator's own reference

    // A block with a copy of `length` bytes of text, two NULs after them and a count of 1.
    static buffer* create(const char* text, unsigned long length);

    char* text() { return reinterpret_cast<char*>(this + 1); }

    void addRef() { refs.fetch_add(1, std::memory_order_relaxed); }
    // Drops a reference; dropping the last one frees the block.
    void release();

private:
    friend class item;

    // A block with room for `length` bytes of text, which the caller writes.
    ORV_LOCAL static buffer* allocate(unsigned long length);
};

} // namespace xml
