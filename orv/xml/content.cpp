// An element is closed by the end tag at which the tags of its own name balance. Tags of other
// names are only stepped over; but stepped over they must be, for a "<" or ">" in a quoted
// attribute value is none. There are four ways to find that end tag, all with the same result:
//
//   first tag  is the one where an element holds text alone, as most do
//   walk       is a look at every byte, right for every text, and how short contents are read
//   search     looks at 16 bytes at once: the tags of that name are counted as if every "<" began a
//              tag and every ">" ended one, and then the text up to the end tag found is checked
//              for being so. By far the most text is, and where it is not, `walk` has the last
//              word. A checked stretch serves all the elements in it
//   index      is of all tags in a text (tag_index.cpp), for an operation that goes deep
#include <orv/xml/content.hpp>

#include <orv/xml/bytes16.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <cstring>

namespace xml {

namespace {

// TAB, LF, space; not CR, on purpose.
bool is_trimmed(char c) { return c == ' ' || c == '\n' || c == '\t'; }

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

// Whether a stretch is still plain with the 64 bytes at `at`: tags begin with "<" and end with ">"
// in turn, none of these in quotes. Where both kinds of quotes stand in tags the answer is no,
// though it might be yes; and where it is no, the stretch stays as it was.
bool goes_on(plain_stretch& plain, const char* at) {
    const std::uint64_t opens = bits_of(at, '<');
    const std::uint64_t ends = bits_of(at, '>');
    if ((opens | ends | plain.in_tag) == 0)
        return true;
    // From each "<" up to, without, its ">": the difference of the two powers of two. A tag that
    // goes on into the next block borrows from it.
    const std::uint64_t in_tags = ends - opens - plain.in_tag;
    if ((opens & ~in_tags) != 0 || (ends & in_tags) != 0)
        return false;

    std::uint64_t quotes = bits_of(at, '"') & in_tags;
    const std::uint64_t singles = contains(at, '\'') ? bits_of(at, '\'') & in_tags : 0;
    char kind = '"';
    if (singles != 0 || plain.quote == '\'') { // seldom
        if (quotes != 0 || plain.quote == '"')
            return false;
        quotes = singles;
        kind = '\'';
    }
    // Of double quotes, which stand in every other block, none makes a branch.
    const std::uint64_t in_quotes = parity(quotes) ^ (plain.quote != 0 ? ~0ull : 0);
    if ((ends & in_quotes) != 0)
        return false;
    plain.quote = in_quotes >> 63 == 0 ? '\0' : kind;
    plain.in_tag = in_tags >> 63;
    return true;
}

// Steps over what a tag has in common with a name; true if that is all of both. A tag is not looked
// at twice, be it as long as the text.
bool step_over_name(char*& at, const char* name) {
    for (; rank(*at) == rank(*name); ++at, ++name) {
        if (ends_name(*name))
            return true;
    }
    return false;
}

// Looks for the end tag byte by byte, from outside of any tag on. `found` is the end tag, or the
// NUL if there is none.
bool walk(const char* name, char* at, char*& found) {
    for (unsigned long depth = 1;;) { // open elements of that name
        found = find(at, '<');
        if (*found == 0)
            return false;
        if (found[1] == '/') {
            if (compare_names(found + 2, name) == 0 && --depth == 0)
                return true;
            at = find(found + 2, '>');
        } else {
            bool closed;
            at = skip_tag(found + 1, closed);
            if (!closed && compare_names(found + 1, name) == 0)
                ++depth;
        }
    }
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

void end_finder::enter(char* content, unsigned long depth) {
    constexpr unsigned long deep = 16; // enough levels to have been searched one by one
    char* end = content == value_ ? value_end_ : deep_ ? deep_->end_of(content) : nullptr;
    if (!end)
        end = content + std::strlen(content);
    text_ = text_reach::to(end);
    if (depth >= deep && !(deep_ && deep_->covers(content, end)))
        deep_ = std::make_unique<tag_index>(content, end);
}

char* end_finder::end(const char* name, char* value) {
    char* found; // the end tag, or the NUL that ends the text
    if (!locate(name, value, found)) {
        if (deep_)
            deep_->ends(value, found);
        return end_of_text(found);
    }
    char* const last = find(found + 2, '>');
    char* const behind = *last == 0 ? end_of_text(last) : last + 1;
    char* end = found;
    while (end > value && is_trimmed(end[-1]))
        --end;
    *end = 0;
    value_ = value;
    value_end_ = end;
    if (deep_)
        deep_->ends(value, end);
    return behind;
}

// Whether there is an end tag. `found` is it, or the NUL if there is none.
bool end_finder::locate(const char* name, char* value, char*& found) {
    if (deep_) {
        found = deep_->closing(name, value);
        if (found && found < text_.end())
            return true;
        found = text_.end();
        return false;
    }
    char* const first = first_tag(value);
    found = first;
    if (*first == 0)
        return false;
    if (first[1] == '/' && compare_names(first + 2, name) == 0)
        return true;
    constexpr long few = 64; // bytes
    const bool is_short = text_.behind(first, few) < first + few;
    if (!is_short && !ends_name(*name)) {
        const verdict searched = search(name, first, found);
        if (searched != verdict::undecided)
            return searched == verdict::closed;
    }
    return walk(name, first, found);
}

char* end_finder::first_tag(char* at) {
    for (; text_.behind(at, 16) == at + 16; at += 16) {
        const std::uint64_t opens = (bytes16::load(at) == bytes16::all('<')).bits();
        if (opens != 0)
            return at + __builtin_ctzll(opens);
    }
    return find(at, '<');
}

// Looks for the end tag as if the text were plain, and then sees whether it is. Only end tags of
// that name matter: as long as the text is plain up to the last one met, there is none between it
// and where the search has come to. A text that is not plain may lead the search astray, past the
// real end and through all that follows; so what has been met is looked at again and again on the
// way, each time twice as far.
end_finder::verdict end_finder::search(const char* name, char* first, char*& found) {
    tag_finder tags(*name, first);
    unsigned long depth = 1;
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
            if (!is_end_tag) {
                at = find(at, '>');
                if (at[-1] != '/')
                    ++depth;
                continue;
            }
            last_met = found = tag;
            if (--depth == 0)
                return is_plain(first, last_met) ? verdict::closed : verdict::undecided;
        }
        if (!is_plain(first, last_met))
            return verdict::undecided;
        if (text_.ends_at(limit)) {
            found = limit;
            return verdict::unclosed;
        }
    }
}

// Whether the text between two tags is plain, the second one left out.
bool end_finder::is_plain(char* from, char* to) {
    constexpr unsigned long block = 64;
    if (!plain_.begin || from < plain_.begin || from > plain_.end)
        plain_ = {from, from};
    while (to >= plain_.end) {
        if (text_.behind(plain_.end, block) < plain_.end + block || !goes_on(plain_, plain_.end))
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
    return goes_on(up_to, last) && up_to.in_tag == 0;
}

} // namespace xml
