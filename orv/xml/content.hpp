// Where the content of an element ends. Not installed.
#pragma once

#include <orv/xml/tag_index.hpp>

#include <cstdint>
#include <memory>

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
    // Whether the text is known to end there.
    bool ends_at(const char* at) const { return is_end_ && at == known_; }
    // Where it ends, if that is known.
    char* end() const { return known_; }

private:
    void measure(char* at, const char* wanted);

    char* known_;
    bool is_end_ = false;
};

// A stretch of text that is known to be plain: from `begin`, outside of any tag, to `end` every "<"
// begins a tag and every ">" ends one.
struct plain_stretch {
    char* begin = nullptr;
    char* end = nullptr;
    // At the end: in a tag (1) or not (0), and in which quotes in that tag, if any.
    std::uint64_t in_tag = 0;
    char quote = 0;
};

// Finds where the elements of a text end, for one operation: what it finds out about the text on
// one level serves the levels below. Which way to search is decided here and nowhere else.
class end_finder {
public:
    // For elements read from `position` on.
    explicit end_finder(char* position) : text_(position) {}
    // For what is below an element, which is to be entered.
    end_finder() : text_(nullptr) {}

    // From here on the elements in the content from `content` to its NUL are asked for. `depth` is
    // how many levels below the first one of the operation that is.
    void enter(char* content, unsigned long depth);
    // Ends the value of an element called `name`, which begins at `value`, in front of the end tag
    // that closes it, white space trimmed. Returns the position behind the end tag; where the text
    // ends if there is none.
    char* end(const char* name, char* value);

private:
    enum class verdict { closed, unclosed, undecided };

    bool locate(const char* name, char* value, char*& found);
    char* first_tag(char* at);
    verdict search(const char* name, char* first, char*& found);
    bool is_plain(char* from, char* to);

    text_reach text_;
    plain_stretch plain_;
    char* value_ = nullptr; // that was ended last, and often is what is entered next
    char* value_end_ = nullptr;
    std::unique_ptr<tag_index> deep_; // made when an operation gets deep
};

} // namespace xml
