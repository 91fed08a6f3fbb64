// An element is closed by the end tag at which the tags of its own name balance. Tags of other
// names are only stepped over; but stepped over they must be, for a "<" or ">" in a quoted
// attribute value is none. That takes a look at every byte (`walk`), which is right for every text,
// and is how short contents are read.
//
// Long ones are read in two steps that look at 16 bytes at once. First the tags of that name are
// counted as if every "<" began a tag and every ">" ended one (`search`). Then the text up to the
// end tag found is checked for being so (`check`): by far the most text is, and where it is not,
// `walk` has the last word. A checked stretch serves all the elements in it, so that a path through
// many levels checks its text but once.
#include <orv/xml/content.hpp>

#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <cstdint>
#include <cstring>
#include <emmintrin.h>

namespace xml {

namespace {

// TAB, LF, space; not CR, on purpose.
bool is_trimmed(char c) { return c == ' ' || c == '\n' || c == '\t'; }

enum class verdict { closed, unclosed, undecided };

// Looks for the end tag byte by byte, in tags that begin before `limit`.
verdict walk(const char* name, char* value, const char* limit, char*& closing) {
    unsigned long depth = 1; // open elements of that name
    for (char* at = value;;) {
        char* const tag = find(at, '<');
        if (*tag == 0)
            return verdict::unclosed;
        if (tag >= limit)
            return verdict::undecided;
        if (tag[1] == '/') {
            if (compare_names(tag + 2, name) == 0 && --depth == 0) {
                closing = tag;
                return verdict::closed;
            }
            at = find(tag + 2, '>');
        } else {
            bool closed;
            at = skip_tag(tag + 1, closed);
            if (!closed && compare_names(tag + 1, name) == 0)
                ++depth;
        }
    }
}

// 16 bytes at once.
struct bytes16 {
    __m128i v;

    static bytes16 load(const char* at) {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))};
    }
    static bytes16 all(char c) { return {_mm_set1_epi8(c)}; }
    std::uint64_t bits() const { return static_cast<std::uint32_t>(_mm_movemask_epi8(v)); }
    friend bytes16 operator==(bytes16 a, bytes16 b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
    friend bytes16 operator|(bytes16 a, bytes16 b) { return {_mm_or_si128(a.v, b.v)}; }
    friend bytes16 operator&(bytes16 a, bytes16 b) { return {_mm_and_si128(a.v, b.v)}; }
};

// Finds the tags, start and end alike, whose name begins with a given byte in either case.
class tag_finder {
public:
    explicit tag_finder(char first)
        : first_(static_cast<char>(rank(first))), first_of_16_(bytes16::all(first_)),
          case_bit_(bytes16::all(first_ >= 'a' && first_ <= 'z' ? 0x20 : 0)) {}

    // The first such tag between `at` and `end`, where a NUL stands; `end` if there is none. `at`
    // is not the beginning of the text.
    char* next(char* at, char* end) const {
        for (; end - at > 32; at += 32) {
            // Where an end tag begins in front of `at`, its "/" still is here.
            std::uint64_t found = before_name(at) | before_name(at + 16) << 16;
            for (; found != 0; found &= found - 1) {
                char* const tag = at + __builtin_ctzll(found);
                if (*tag == '<')
                    return tag;
                if (tag[-1] == '<')
                    return tag - 1;
            }
        }
        for (; at < end; ++at) {
            if (rank(at[1]) != first_)
                continue;
            if (*at == '<')
                return at;
            if (*at == '/' && at[-1] == '<')
                return at - 1;
        }
        return end;
    }

private:
    // A bit for each "<" or "/" of 16 bytes with the byte behind it.
    std::uint64_t before_name(const char* at) const {
        const bytes16 bytes = bytes16::load(at);
        const bytes16 opens = (bytes == bytes16::all('<')) | (bytes == bytes16::all('/'));
        return (opens & ((bytes16::load(at + 1) | case_bit_) == first_of_16_)).bits();
    }

    char first_;
    bytes16 first_of_16_;
    bytes16 case_bit_; // upper case is lower case without this bit
};

// The states of a check between blocks: outside of tags, in a tag, or in quotes in a tag.
struct check_state {
    std::uint64_t in_tag = 0; // 1 if so
    char quote = 0;           // that is open
};

// For each bit, the parity of the bits up to and with it.
std::uint64_t parity(std::uint64_t bits) {
    for (int shift = 1; shift < 64; shift *= 2)
        bits ^= bits << shift;
    return bits;
}

// Checks 64 bytes for tags that begin with "<" and end with ">" in turn, none of these in quotes.
// Where both kinds of quotes stand in tags the answer is no, though it might be yes.
bool check_block(const char* at, check_state& state) {
    std::uint64_t opens = 0, ends = 0, doubles = 0, singles = 0;
    for (int i = 0; i < 64; i += 16) {
        const bytes16 bytes = bytes16::load(at + i);
        opens |= (bytes == bytes16::all('<')).bits() << i;
        ends |= (bytes == bytes16::all('>')).bits() << i;
        doubles |= (bytes == bytes16::all('"')).bits() << i;
        singles |= (bytes == bytes16::all('\'')).bits() << i;
    }
    // From each "<" up to, without, its ">": the difference of the two powers of two. A tag that
    // goes on into the next block borrows from it.
    const std::uint64_t in_tags = ends - opens - state.in_tag;
    if ((opens & ~in_tags) != 0 || (ends & in_tags) != 0)
        return false;
    state.in_tag = in_tags >> 63;

    doubles &= in_tags;
    singles &= in_tags;
    if ((doubles | singles) == 0)
        return state.quote == 0 || ends == 0;
    if (doubles != 0 ? singles != 0 || state.quote == '\'' : state.quote == '"')
        return false;
    const std::uint64_t in_quotes = parity(doubles | singles) ^ (state.quote != 0 ? ~0ull : 0);
    if ((ends & in_quotes) != 0)
        return false;
    state.quote = in_quotes >> 63 == 0 ? '\0' : doubles != 0 ? '"' : '\'';
    return true;
}

// Whether the text from `from`, outside of any tag, up to the tag at `to` is plain.
bool check(const char* from, const char* to) {
    check_state state;
    for (; to - from >= 64; from += 64) {
        if (!check_block(from, state))
            return false;
    }
    char rest[64] = {};
    std::memcpy(rest, from, static_cast<unsigned long>(to - from));
    return check_block(rest, state) && state.in_tag == 0;
}

// The same with what is known, which grows by it.
bool is_plain(const char* from, const char* to, plain_stretch& plain) {
    if (from < plain.begin || from > plain.end || !plain.begin)
        plain = {from, from};
    if (to <= plain.end)
        return true;
    if (!check(plain.end, to))
        return false;
    plain.end = to;
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

// Looks for the end tag as if the text were plain, and then sees whether it is. Only end tags of
// that name matter: as long as the text is plain up to the last one met, there is none between it
// and where the search has come to. A text that is not plain may lead the search astray, past the
// real end and through all that follows; so what has been met is looked at again and again on the
// way, each time twice as far.
verdict search(const char* name, char* value, char* end, char*& closing, plain_stretch& plain) {
    const tag_finder tags(*name);
    unsigned long depth = 1;
    const char* last_met = nullptr;
    const auto not_astray = [&] { return !last_met || is_plain(value, last_met, plain); };
    char* at = value;
    for (long reach = 1024;; reach *= 2) {
        char* const limit = end - value > reach ? value + reach : end;
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
            last_met = tag;
            if (--depth == 0) {
                closing = tag;
                return not_astray() ? verdict::closed : verdict::undecided;
            }
        }
        if (!not_astray())
            return verdict::undecided;
        if (limit == end)
            return verdict::unclosed;
    }
}

} // namespace

char* end_content(const char* name, char* value, char* end, plain_stretch& plain) {
    constexpr long few_bytes = 96;
    char* closing = nullptr;
    verdict found = verdict::undecided;
    if (!plain.begin || value < plain.begin || end > plain.end) // else the search is sure of itself
        found = walk(name, value, end - value > few_bytes ? value + few_bytes : end, closing);
    if (found == verdict::undecided && !ends_name(*name))
        found = search(name, value, end, closing, plain);
    if (found == verdict::undecided)
        found = walk(name, value, end, closing);
    if (found != verdict::closed)
        return end_of_text(end);
    return close_content(value, closing);
}

char* close_content(char* value, char*& closing) {
    char* const last = find(closing + 2, '>');
    char* const behind = *last == 0 ? end_of_text(last) : last + 1;
    while (closing > value && is_trimmed(closing[-1]))
        --closing;
    *closing = 0;
    return behind;
}

} // namespace xml
