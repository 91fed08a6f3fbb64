// The tags of one name are counted as if every "<" began a tag and every ">" ended one; then the
// text up to the end tag found is checked to be like that, as nearly all text is. A checked stretch
// serves all the elements in it.
#include <orv/xml/wide_search.hpp>

#include <orv/xml/bytes16.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <cstring>

namespace xml {

namespace {

// Finds the start and end tags whose names begin with a given byte, in either case.
class tag_finder {
public:
    tag_finder(char first, char* from)
        : first_(static_cast<char>(rank(first))), first_of_16_(bytes16::all(first_)),
          case_bit_(bytes16::all(first_ >= 'a' && first_ <= 'z' ? 0x20 : 0)), looked_at_(from) {}

    // The first such tag between `at` and `end`, which may be the NUL; `end` if there is none. `at`
    // must not be the beginning of the text.
    char* next(char* at, char* end) {
        if (first_ == '?' || first_ == '!')
            return next_declaration(at, end);
        // An end tag that begins just before `at` is still found, by its "/".
        for (;;) {
            for (; hits_ != 0; hits_ &= hits_ - 1) {
                char* const hit = looked_at_ - 64 + __builtin_ctzll(hits_);
                char* const tag = hit < at ? nullptr : tag_before(hit);
                if (tag)
                    return tag;
            }
            if (looked_at_ < at)
                looked_at_ = at;
            if (end - looked_at_ <= 64)
                break;
            for (int i = 0; i < 64; i += 16)
                hits_ |= before_name(looked_at_ + i) << i;
            looked_at_ += 64;
        }
        for (at = looked_at_; at < end; ++at) {
            if (rank(at[1]) != rank(first_))
                continue;
            if (char* const tag = tag_before(at))
                return tag;
        }
        return end;
    }

private:
    // Normally nothing closes a declaration or a comment, so everything after it is searched; but
    // its first byte is rare.
    char* next_declaration(char* at, char* end) const {
        while (at < end) {
            const auto left = static_cast<unsigned long>(end - at);
            auto* const name = static_cast<char*>(std::memchr(at + 1, first_, left));
            if (!name)
                return end;
            at = name;
            if (char* const tag = tag_before(name - 1))
                return tag;
        }
        return end;
    }
    // The tag whose "<" or, in an end tag, "/" is at `at`; null if there is none.
    static char* tag_before(char* at) {
        return *at == '<' ? at : *at == '/' && at[-1] == '<' ? at - 1 : nullptr;
    }
    // A bit for each "<" or "/" among 16 bytes that the wanted byte follows. With the bits of 0x13
    // set these two become the same byte, as do six others, which `tag_before` rejects.
    std::uint64_t before_name(const char* at) const {
        const bytes16 opens = (bytes16::load(at) | bytes16::all(0x13)) == bytes16::all(0x3f);
        return (opens & ((bytes16::load(at + 1) | case_bit_) == first_of_16_)).bits();
    }

    char first_;
    bytes16 first_of_16_;
    bytes16 case_bit_;       // lower case has this bit, upper case does not
    char* looked_at_;        // up to here
    std::uint64_t hits_ = 0; // of the last 64 bytes looked at
};

// For each bit, the parity of the bits up to and including it.
std::uint64_t parity(std::uint64_t bits) {
    for (int shift = 1; shift < 64; shift *= 2)
        bits ^= bits << shift;
    return bits;
}

// A bit for each of the 64 bytes at `at` that equals `wanted`.
std::uint64_t bits_of(const char* at, char wanted) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 64; i += 16)
        bits |= (bytes16::load(at + i) == bytes16::all(wanted)).bits() << i;
    return bits;
}

bool contains(const char* at, char wanted) {
    bytes16 any = bytes16::all(0);
    for (int i = 0; i < 64; i += 16)
        any = any | (bytes16::load(at + i) == bytes16::all(wanted));
    return any.bits() != 0;
}

// Advances past what a tag and a name have in common; true if the names are equal. No tag is read
// twice, even one as long as the text.
bool step_over_name(char*& at, const char* name) {
    for (; rank(*at) == rank(*name); ++at, ++name) {
        if (is_delimiter(*name))
            return true;
    }
    return false;
}

} // namespace

void text_reach::measure(char* at, const char* wanted) {
    if (known_ < at)
        known_ = at;                    // the text before it has been read and cut up
    constexpr unsigned long more = 256; // than is wanted, so that not every tag calls this
    const auto count = static_cast<unsigned long>(wanted - known_) + more;
    const unsigned long length = strnlen(known_, count);
    known_ += length;
    is_end_ = length < count;
}

bool plain_stretch::continues(const char* bytes) {
    const std::uint64_t opens = bits_of(bytes, '<');
    const std::uint64_t closes = bits_of(bytes, '>');
    if ((opens | closes | in_tag) == 0)
        return true;
    // The bits from each "<" up to, but not including, its ">": the difference of the two powers of
    // two. A tag that continues into the next block borrows from it.
    const std::uint64_t in_tags = closes - opens - in_tag;
    if ((opens & ~in_tags) != 0 || (closes & in_tags) != 0)
        return false;

    std::uint64_t quotes = bits_of(bytes, '"') & in_tags;
    const std::uint64_t singles = contains(bytes, '\'') ? bits_of(bytes, '\'') & in_tags : 0;
    char kind = '"';
    if (singles != 0 || quote == '\'') { // rare
        if (quotes != 0 || quote == '"')
            return false;
        quotes = singles;
        kind = '\'';
    }
    // No branch tests for double quotes, since every other block has some.
    const std::uint64_t in_quotes = parity(quotes) ^ (quote != 0 ? ~0ull : 0);
    if ((closes & in_quotes) != 0)
        return false;
    quote = in_quotes >> 63 == 0 ? '\0' : kind;
    in_tag = in_tags >> 63;
    return true;
}

char* wide_search::first_tag(char* at) {
    for (; text_.behind(at, 16) == at + 16; at += 16) {
        const std::uint64_t opens = (bytes16::load(at) == bytes16::all('<')).bits();
        if (opens != 0)
            return at + __builtin_ctzll(opens);
    }
    return scan_to(at, '<');
}

// Looks for the end tag as if the text were plain, then checks that it is. Only end tags of that
// name matter: as long as the text is plain up to the last one met, there is none between it and
// the current position. In a text that is not plain, the search may run past the real end and
// through all that follows, so it also checks what it has met on the way, each time after twice the
// distance.
char* wide_search::closing(const char* name, char* first) {
    constexpr long few = 64; // bytes, too few to be worth it
    if (is_delimiter(*name) || text_.behind(first, few) < first + few)
        return nullptr;
    tag_finder tags(*name, first);
    unsigned long open = 1; // elements of that name
    char* last_met = first;
    char* at = first;
    for (long reach = 1024;; reach *= 2) {
        char* const limit = text_.behind(first, reach);
        while ((at = tags.next(at, limit)) < limit) {
            char* const tag = at;
            const bool is_end_tag = tag[1] == '/';
            at = tag + (is_end_tag ? 2 : 1);
            if (!step_over_name(at, name))
                continue;
            if (is_end_tag) {
                last_met = tag;
                if (--open == 0)
                    return is_plain(first, tag) ? tag : nullptr;
            } else {
                at = scan_to(at, '>');
                if (at[-1] != '/')
                    ++open;
            }
        }
        if (!is_plain(first, last_met))
            return nullptr;
        if (text_.is_end(limit))
            return limit;
    }
}

// Whether the text from one tag up to, but not including, another is plain.
bool wide_search::is_plain(char* from, char* to) {
    constexpr unsigned long block = plain_stretch::block;
    if (!plain_.begin || from < plain_.begin || from > plain_.end)
        plain_ = {from, from};
    while (to >= plain_.end) {
        if (text_.behind(plain_.end, block) < plain_.end + block || !plain_.continues(plain_.end))
            break;
        plain_.end += block;
    }
    if (to < plain_.end)
        return true;
    // Either the text ends within the next block, or that is not plain, perhaps only after `to`.
    const auto rest = static_cast<unsigned long>(to - plain_.end);
    if (rest >= block)
        return false;
    char last[block] = {};
    std::memcpy(last, plain_.end, rest);
    plain_stretch up_to = plain_;
    return up_to.continues(last) && up_to.in_tag == 0;
}

} // namespace xml
