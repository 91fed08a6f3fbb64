// The tags of one name are matched as parentheses are; those of other names do not matter to them.
// From the last tag to the first, what closes an element that begins in front of a tag is: an end
// tag itself; and in front of a start tag, the end tag that is next behind the one which that
// needs.
//
// A start tag is not always read as it is stepped over: `<a '>` ends there when it is read, but
// when stepped over, the quote goes on to the next one. So content may begin where the run of tags
// from further outside sees none. Then another run is made from there, up to the first tag that is
// in a run already. Every tag is in one run, and at one place of the text there are no more runs
// than states to be in (outside, in a tag, in either quotes), so all of them take O(n).
#include <orv/xml/tag_index.hpp>

#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <algorithm>

namespace xml {

namespace {

// A copy, for parts of the text are cut up while the index is in use.
std::string folded(const char* name) {
    std::string made;
    for (; !is_delimiter(*name); ++name)
        made += static_cast<char>(rank(*name));
    return made;
}

} // namespace

tag_index::~tag_index() = default;

char* tag_index::closing(const char* name, char* content) {
    char* const first = scan_to(content, '<');
    if (*first == 0)
        return nullptr;
    const auto known = run_of_.find(first);
    const run& in = known != run_of_.end() ? *known->second : run_from(first);
    return closing_in(&in, first, folded(name)).at;
}

char* tag_index::noted_end(const char* content) const {
    const auto known = ends_.find(content);
    return known == ends_.end() ? nullptr : known->second;
}

const tag_index::run& tag_index::run_from(char* first) {
    struct step {
        char* tag;
        bool is_end_tag;
    };
    run& made = runs_.emplace_back();
    std::vector<step> steps;
    for (char* at = first; *at != 0; at = scan_to(at, '<')) {
        const auto [met, is_new] = run_of_.try_emplace(at, &made);
        if (!is_new) {
            made.into = met->second;
            made.meets = at;
            break;
        }
        const step here = {at, at[1] == '/'};
        bool closed = false;
        at = here.is_end_tag ? scan_to(at + 2, '>') : skip_tag(at + 1, closed);
        if (!closed)
            steps.push_back(here);
    }
    while (!steps.empty()) {
        const step last = steps.back();
        steps.pop_back();
        const std::string name = folded(last.tag + (last.is_end_tag ? 2 : 1));
        std::vector<tag>& behind = made.tags[name];
        end_tag closing{&made, last.tag};
        if (!last.is_end_tag) {
            const end_tag own =
                behind.empty() ? closing_in(made.into, made.meets, name) : behind.back().closing;
            closing = own.at ? closing_in(own.in, own.at + 1, name) : end_tag();
        }
        behind.push_back({last.tag, closing});
    }
    return made;
}

// What closes an element of that name whose content begins at `at`, in a run.
tag_index::end_tag tag_index::closing_in(const run* in, char* at, const std::string& name) {
    for (; in; at = in->meets, in = in->into) {
        const auto tags = in->tags.find(name);
        if (tags == in->tags.end())
            continue;
        const auto behind = std::partition_point(tags->second.begin(), tags->second.end(),
                                                 [&](const tag& t) { return t.at >= at; });
        if (behind != tags->second.begin())
            return behind[-1].closing;
    }
    return {};
}

} // namespace xml
