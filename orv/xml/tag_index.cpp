// The tags of one name are matched as parentheses are, with a stack; those of another name do not
// matter to them. So each name has a stack of its own, as a chain through the open elements.
#include <orv/xml/tag_index.hpp>

#include <orv/xml/name.hpp>
#include <orv/xml/scan.hpp>

#include <algorithm>
#include <functional>
#include <map>

namespace xml {

namespace {

constexpr unsigned long none = ~0ul;

struct name_order {
    bool operator()(const char* a, const char* b) const { return compare_names(a, b) < 0; }
};

} // namespace

tag_index::tag_index(char* content, char* end) : content_(content), end_(end) {
    std::map<const char*, unsigned long, name_order> innermost; // open element of each name
    std::vector<unsigned long> around; // for each element, the open one of its name around it
    for (char* at = content;;) {
        char* const tag = xml::find(at, '<');
        if (!elements_.empty() && !elements_.back().next)
            elements_.back().next = tag;
        if (*tag == 0)
            return;
        if (tag[1] == '/') {
            const auto open = innermost.find(tag + 2);
            if (open != innermost.end() && open->second != none) {
                elements_[open->second].end = tag;
                open->second = around[open->second];
            }
            at = xml::find(tag + 2, '>');
        } else {
            bool closed;
            at = skip_tag(tag + 1, closed);
            if (closed)
                continue;
            unsigned long& open = innermost.try_emplace(tag + 1, none).first->second;
            around.push_back(open);
            open = elements_.size();
            elements_.push_back({tag + 1, at, nullptr, end});
        }
    }
}

tag_index::element* tag_index::find(const char* name, const char* value) {
    const auto found = std::lower_bound(
        elements_.begin(), elements_.end(), name,
        [](const element& e, const char* at) { return std::less<>()(e.name, at); });
    // The tags in the value are those that were found if there is none in between.
    const bool known = found != elements_.end() && found->name == name && found->behind <= value &&
                       value <= found->next;
    return known ? &*found : nullptr;
}

} // namespace xml
