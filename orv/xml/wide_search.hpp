// The search for end tags many bytes at a time, one of the ways of end_tag_finder.cpp. Not
// installed.
#pragma once

#include <cstdint>

namespace xml {

// How far a text is known to contain no NUL. It is measured as it is read, so that reading one
// element of a long text costs nothing for what follows.
class text_reach {
public:
    // For a text that starts at `begin`, of which nothing is known.
    explicit text_reach(char* begin) : known_(begin) {}
    // For a text that ends at the NUL at `end`.
    static text_reach to(char* end) {
        text_reach whole(end);
        whole.is_end_ = true;
        return whole;
    }

    // `count` bytes after `at`, or where the text ends if that is nearer.
    char* behind(char* at, long count) {
        if (known_ - at < count && !is_end_)
            measure(at, at + count);
        return known_ - at < count ? known_ : at + count;
    }
    // Whether the text is known to end at `at`.
    bool is_end(const char* at) const { return is_end_ && at == known_; }
    // Where it ends, if that is known.
    char* end() const { return known_; }

private:
    void measure(char* at, const char* wanted);

    char* known_;
    bool is_end_ = false;
};

// A stretch of text known to be plain: from `begin`, which is outside any tag, to `end`, every "<"
// begins a tag and every ">" ends one, and none of them is in quotes.
struct plain_stretch {
    static constexpr unsigned long block = 64;

    // Whether the block after `end`, whose bytes are at `bytes`, is plain as well. If so, `in_tag`
    // and `quote` become those at its end; otherwise nothing changes. If tags in the block contain
    // both kinds of quotes, the answer is no, though it might be yes.
    bool continues(const char* bytes);

    char* begin = nullptr;
    char* end = nullptr;
    // The state at `end`: in a tag (1) or not (0), and in which quotes of that tag, if any.
    std::uint64_t in_tag = 0;
    char quote = 0;
};

// Searches a text for tags. What it learns is kept for the next search, in the same text or in the
// content of one of its elements.
class wide_search {
public:
    // For a text that starts at `begin`, of which nothing is known.
    explicit wide_search(char* begin) : text_(begin) {}

    // From now on, the text is the one that ends at the NUL at `end`.
    void enter(char* end) { text_ = text_reach::to(end); }
    // That NUL.
    char* end() const { return text_.end(); }

    // The first "<", or the NUL that ends the text.
    char* first_tag(char* at);
    // What closes an element called `name` whose content has its first tag at `first`: the end tag,
    // or the NUL. Null if this search cannot tell, or is not worthwhile.
    char* closing(const char* name, char* first);

private:
    bool is_plain(char* from, char* to);

    text_reach text_;
    plain_stretch plain_;
};

} // namespace xml
