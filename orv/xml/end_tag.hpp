// Where the end tag of an element is found. Not installed.
#pragma once

#include <orv/xml/end_tag_search.hpp>
#include <orv/xml/tag_index.hpp>

#include <memory>

namespace xml {

// Finds the end tags of the elements of a text, for one operation: what it learns about the text on
// one level serves the levels below. Which way to find them is decided here and nowhere else.
class end_tag_finder {
public:
    // For elements that are read from `position` on.
    explicit end_tag_finder(char* position) : search_(position) {}
    // For what is below an element, whose content is to be entered.
    end_tag_finder() : search_(nullptr) {}

    // The elements in the content from `content` to its NUL are asked for from here on. `depth` is
    // how many levels below the first one of the operation that is.
    void enter(char* content, unsigned long depth);
    // Ends the value of an element called `name`, which begins at `value`, in front of the end tag
    // that closes it, white space trimmed. Returns the position behind the end tag; where the text
    // ends if there is none.
    char* close_value(const char* name, char* value);

private:
    char* locate(const char* name, char* value);

    end_tag_search search_;
    char* closed_ = nullptr; // the value closed last, which often is the content entered next
    char* closed_end_ = nullptr;
    std::unique_ptr<tag_index> deep_; // made when an operation gets deep
};

} // namespace xml
