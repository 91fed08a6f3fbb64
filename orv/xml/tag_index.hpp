// Which end tag closes which element, for a whole text at once. Not installed.
#pragma once

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace xml {

// The tags in some content, each with the end tag at which the tags of its name balance, found in
// one pass; searching level by level would read the text of a deep tree once for each level. Not
// worthwhile for texts that are nested less deeply.
class tag_index {
public:
    // For the content that begins at `content` and ends at the NUL at `end`.
    tag_index(const char* content, const char* end) : content_(content), end_(end) {}
    ~tag_index();

    // Whether the text from `content` to `end` is part of the indexed text.
    bool covers(const char* content, const char* end) const {
        return content_ <= content && end <= end_;
    }
    // The end tag that closes an element called `name`, whose content begins at `content`; null if
    // there is none. The content may have been cut short since the tags were found: the caller must
    // ignore an end tag after the cut.
    char* closing(const char* name, char* content);
    // Notes that the content from `content` on now ends at the NUL at `nul`. This cuts through no
    // tag: there is no "<" between the end tag that ends the content and the last ">" before it, or
    // the beginning of the content.
    void note_end(const char* content, char* nul) { ends_[content] = nul; }
    // The end noted for `content`; null if there is none.
    char* noted_end(const char* content) const;

private:
    struct run;
    struct end_tag {
        const run* in = nullptr;
        char* at = nullptr; // null: there is none
    };
    struct tag {
        char* at;
        end_tag closing; // of an element whose content begins before this tag
    };
    using names = std::unordered_map<std::string, std::vector<tag>>; // last tag first

    // Consecutive tags, read from one place on the way skipped tags are.
    struct run {
        names tags;
        const run* into = nullptr; // the older run that it meets, if any
        char* meets = nullptr;     // the tag that both have
    };

    const run& run_from(char* first);
    static end_tag closing_in(const run* in, char* at, const std::string& name);

    const char* content_;
    const char* end_;
    std::deque<run> runs_;
    std::unordered_map<const char*, const run*> run_of_; // the run of a tag, by its "<"
    std::unordered_map<const char*, char*> ends_;
};

} // namespace xml
