// Which end tag closes which element, for a whole text at once. Not installed.
#pragma once

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace xml {

// The tags in some content, each with the end tag at which the tags of its name balance: found in
// one pass, where searching for them level by level would read the text of a deep tree once for
// each level. Texts nested less deep are not worth it.
class tag_index {
public:
    // Of the content that begins at `content` and ends at the NUL at `end`.
    tag_index(const char* content, const char* end) : content_(content), end_(end) {}
    ~tag_index();

    // Whether the text from `content` to `end` is part of it.
    bool covers(const char* content, const char* end) const {
        return content_ <= content && end <= end_;
    }
    // The end tag that closes an element called `name`, whose content begins at `content`; null if
    // there is none. The content may have been cut short since the tags were found: an end tag
    // behind the cut is none.
    char* closing(const char* name, char* content);
    // That the content from `content` on ends at the NUL at `nul` now. No end tag is cut through:
    // between the one that ends the content and the last ">" in front of it, or the beginning of
    // the content, there is no "<".
    void note_end(const char* content, char* nul) { ends_[content] = nul; }
    // Where it was noted to end; null if it was not.
    char* noted_end(const char* content) const;

private:
    struct run;
    struct end_tag {
        const run* in = nullptr;
        char* at = nullptr; // null: there is none
    };
    struct tag {
        char* at;
        end_tag closing; // of an element whose content begins in front of this tag
    };
    using names = std::unordered_map<std::string, std::vector<tag>>; // from the last tag on

    // Tags that follow one another, read from one place on as tags are that are stepped over.
    struct run {
        names tags;
        const run* into = nullptr; // the older run that it meets, if any
        char* meets = nullptr;     // and the tag that both have
    };

    const run& run_from(char* first);
    static end_tag closing_in(const run* in, char* at, const std::string& name);

    const char* content_;
    const char* end_;
    std::deque<run> runs_;
    std::unordered_map<const char*, const run*> run_of_; // that a tag is in, by its "<"
    std::unordered_map<const char*, char*> ends_;
};

} // namespace xml
