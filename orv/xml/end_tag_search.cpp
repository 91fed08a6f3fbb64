// The tags of one name are counted as if every "<" began a tag and every ">" ended one, and then
// the text up to the end tag found is checked for being so. By far the most text is. A checked
// stretch serves all the elements in it.
#include <orv/xml/end_tag_search.hpp>

#include <orv/xml/bytes16.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <cstring>

namespace xml {

namespace {

// Finds the tags, start and end alike, whose name begins with a given byte in either case.
class tag_finder {
public:
    tag_finder(char first, char* from)
        : first_(static_cast<char>(rank(first))), first_of_16_(bytes16::all(first_)),
          case_bit_(bytes16::all(first_ >= 'a' && first_ <= 'z' ? 0x20 : 0)), looked_at_(from) {}

    // The first such tag between `at` and `end`, which may be the NUL; `end` if there is none. `at`
    // is not the beginning of the text.
    char* next(char* at, char* end) {
        if (first_ == '?' || first_ == '!')
            return next_declaration(at, end);
        // Where an end tag begins in front of `at`, its "/" still is here.
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
    // A declaration or a comment is closed by nothing, as a rule, so that all of what follows is
    // searched; but its first byte is rare.
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
    // The tag whose "<" or, in an end tag, "/" stands at `at`; null if none does.
    static char* tag_before(char* at) {
        return *at == '<' ? at : *at == '/' && at[-1] == '<' ? at - 1 : nullptr;
    }
    // A bit for each "<" or "/" of 16 bytes with the byte behind it. With the bits of 0x13 set
    // these two are the same byte, as are six others, which `tag_before` sorts out.
    std::uint64_t before_name(const char* at) const {
        const bytes16 opens = (bytes16::load(at) | bytes16::all(0x13)) == bytes16::all(0x3f);
        return (opens & ((bytes16::load(at + 1) | case_bit_) == first_of_16_)).bits();
    }

    char first_;
    bytes16 first_of_16_;
    bytes16 case_bit_;       // upper case is lower case without this bit
    char* looked_at_;        // up to here
    std::uint64_t hits_ = 0; // of the last 64 bytes looked at
};

// For each bit, the parity of the bits up to and with it.
std::uint64_t parity(std::uint64_t bits) {
    for (int shift = 1; shift < 64; shift *= 2)
        bits ^= bits << shift;
    return bits;
}

// A bit for each of the 64 bytes at `at` that is `wanted`.
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

// Steps over what a tag has in common with a name; true if that is all of both. A tag is not looked
// at twice, be it as long as the text.
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
        known_ = at;                    // what is in front of it has been read, and cut up
    constexpr unsigned long more = 256; // than is wanted, for this not to be called for every tag
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
    // From each "<" up to, without, its ">": the difference of the two powers of two. A tag that
    // goes on into the next block borrows from it.
    const std::uint64_t in_tags = closes - opens - in_tag;
    if ((opens & ~in_tags) != 0 || (closes & in_tags) != 0)
        return false;

    std::uint64_t quotes = bits_of(bytes, '"') & in_tags;
    const std::uint64_t singles = contains(bytes, '\'') ? bits_of(bytes, '\'') & in_tags : 0;
    char kind = '"';
    if (singles != 0 || quote == '\'') { // seldom
        if (quotes != 0 || quote == '"')
            return false;
        quotes = singles;
        kind = '\'';
    }
    // No branch asks whether there are double quotes, for every other block has some.
    const std::uint64_t in_quotes = parity(quotes) ^ (quote != 0 ? ~0ull : 0);
    if ((closes & in_quotes) != 0)
        return false;
    quote = in_quotes >> 63 == 0 ? '\0' : kind;
    in_tag = in_tags >> 63;
    return true;
}

char* end_tag_search::first_tag(char* at) {
    for (; text_.behind(at, 16) == at + 16; at += 16) {
        const std::uint64_t opens = (bytes16::load(at) == bytes16::all('<')).bits();
        if (opens != 0)
            return at + __builtin_ctzll(opens);
    }
    return scan_to(at, '<');
}

// Looks for the end tag as if the text were plain, and then sees whether it is. Only end tags of
// that name matter: as long as the text is plain up to the last one met, there is none between it
// and where the search has come to. A text that is not plain may lead the search astray, past the
// real end and through all that follows; so what has been met is looked at again and again on the
// way, each time twice as far.
char* end_tag_search::closing(const char* name, char* first) {
    constexpr long few = 64; // bytes, not worth it
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

// Whether the text between two tags is plain, the second one left out.
bool end_tag_search::is_plain(char* from, char* to) {
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
    // The text ends behind `to`, or what is there may be what is not plain.
    const auto rest = static_cast<unsigned long>(to - plain_.end);
    if (rest >= block)
        return false;
    char last[block] = {};
    std::memcpy(last, plain_.end, rest);
    plain_stretch up_to = plain_;
    return up_to.continues(last) && up_to.in_tag == 0;
}

} // namespace xml
