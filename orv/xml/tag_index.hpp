// Which end tag closes which element, for a whole text at once. Not installed.
#pragma once

#include <vector>

namespace xml {

// The start tags in some content, each with the end tag at which the tags of its own name balance:
// found in one pass, where searching for them level by level would read the text of a deep tree
// once for each level. Texts nested less deep are not worth it.
class tag_index {
public:
    struct element {
        const char* name;   // where its start tag begins, behind the "<"
        const char* behind; // where that ends as a tag that is stepped over
        const char* next;   // where the next tag begins
        char* end;          // its end tag, or the end of the content that was looked at; once the
                            // element has been read, the NUL that ends its value
    };

    // Of no text.
    tag_index() = default;
    // Of the content that begins at `content`, outside of any tag, and ends at the NUL at `end`.
    tag_index(char* content, char* end);

    // Whether the text from `content` to `end` is part of what was looked at.
    bool covers(const char* content, const char* end) const {
        return content_ && content_ <= content && end <= end_;
    }
    // The element whose name stands at `name` and whose value at `value`; null if it is not known,
    // or if its start tag was read in another way than that of a tag that is stepped over.
    element* find(const char* name, const char* value);

private:
    const char* content_ = nullptr;
    const char* end_ = nullptr;
    std::vector<element> elements_; // in the order of the text
};

} // namespace xml
