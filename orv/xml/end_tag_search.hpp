// The search for end tags at many bytes at once. Not installed.
#pragma once

#include <cstdint>

namespace xml {

// How far a text is known to have no NUL in it: it is measured as it is read, so that reading one
// element of a long text takes no time for what is behind it.
class text_reach {
public:
    // Of a text from `begin` on, of which nothing is known.
    explicit text_reach(char* begin) : known_(begin) {}
    // Of a text that ends at the NUL at `end`.
    static text_reach to(char* end) {
        text_reach whole(end);
        whole.is_end_ = true;
        return whole;
    }

    // `count` bytes behind `at`, or where the text ends if that is nearer.
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

// A stretch of text that is known to be plain: from `begin`, outside of any tag, to `end` every "<"
// begins a tag and every ">" ends one, none of these in quotes.
struct plain_stretch {
    static constexpr unsigned long block = 64;

    // Whether the block behind the end, which stands at `bytes`, is plain as well; if so, `in_tag`
    // and `quote` are those behind it afterwards, else nothing has changed. Where both kinds of
    // quotes stand in tags of a block the answer is no, though it might be yes.
    bool continues(const char* bytes);

    char* begin = nullptr;
    char* end = nullptr;
    // At the end: in a tag (1) or not (0), and in which quotes in that tag, if any.
    std::uint64_t in_tag = 0;
    char quote = 0;
};

// Searches a text for tags. What it learns is kept for the next search, in the same text or in the
// content of one of its elements.
class end_tag_search {
public:
    // In a text from `begin` on, of which nothing is known.
    explicit end_tag_search(char* begin) : text_(begin) {}

    // The text is, from here on, what ends at the NUL at `end`.
    void enter(char* end) { text_ = text_reach::to(end); }
    // That NUL.
    char* end() const { return text_.end(); }

    // The first "<", or the NUL that ends the text.
    char* first_tag(char* at);
    // What closes an element called `name` in whose content the tag at `first` is the first one:
    // its end tag, or the NUL. Null if this search cannot tell, or is not worth it.
    char* closing(const char* name, char* first);

private:
    bool is_plain(char* from, char* to);

    text_reach text_;
    plain_stretch plain_;
};

} // namespace xml
