// Tags of one name are matched like parentheses; those of other names do not affect them. The index
// is built from the last tag to the first: an element whose content begins before a tag is closed
// by that tag if it is an end tag; if it is a start tag, by whatever closes content that begins
// after its own end tag.
//
// A start tag is not always read the way it is skipped: `<a '>` ends there when it is read, but
// when it is skipped, the quote runs on to the next one. So content may begin where the run of tags
// from further outside sees none. Another run is then made from there, up to the first tag that is
// already in a run. Every tag is in one run, and there are no more runs at one place in the text
// than states to be in (outside, in a tag, in either kind of quotes), so all of them take O(n).
#include <orv/xml/tag_index.hpp>

#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <algorithm>

namespace xml {

namespace {

// A copy, because the text is cut up while the index is in use.
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

// What closes an element called `name` whose content begins at `at`, in a run.
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
