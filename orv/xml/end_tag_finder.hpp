// Finding the end tag of an element. Not installed.
#pragma once

#include <orv/xml/tag_index.hpp>
#include <orv/xml/wide_search.hpp>

#include <memory>

namespace xml {

// Finds the end tags of the elements of a text, for one operation: what it learns about the text on
// one level serves the levels below. The way to find them is chosen here and nowhere else.
class end_tag_finder {
public:
    // For elements read from `position` onwards.
    explicit end_tag_finder(char* position) : search_(position) {}
    // For the elements below another one, whose content must be entered first.
    end_tag_finder() : search_(nullptr) {}

    // From now on, the elements are those in the content from `content` to its NUL. `depth` is the
    // number of levels that this is below the operation's first one.
    void enter(char* content, unsigned long depth);
    // Terminates the value of an element called `name`, which begins at `value`, before the end tag
    // that closes the element, with white space trimmed. Returns the position after the end tag, or
    // where the text ends if there is none.
    char* close_value(const char* name, char* value);

private:
    char* locate(const char* name, char* value);

    wide_search search_;
    char* closed_ = nullptr; // the value closed last, which often is the content entered next
    char* closed_end_ = nullptr;
    std::unique_ptr<tag_index> deep_; // made when an operation gets deep
};

} // namespace xml
