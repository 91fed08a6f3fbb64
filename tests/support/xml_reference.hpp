// What reading a document must give, worked out the slow and plain way: one byte after the other,
// on positions in a string, with one insertion after the other. The library's reader and lists are
// compared with it.
#pragma once

#include <string>
#include <vector>

namespace reference {

using std::string;

inline bool is_space(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
inline bool ends_name(char c) { return c == 0 || is_space(c) || c == '/' || c == '=' || c == '>'; }

inline string name_at(const char* name) {
    string cut;
    for (; !ends_name(*name); ++name)
        cut += *name;
    return cut;
}

inline int compare(const string& a, const string& b) {
    const auto folded = [](const string& name, unsigned long i) -> int {
        const char c = i < name.size() ? name[i] : '\0';
        return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : static_cast<signed char>(c);
    };
    unsigned long i = 0;
    while (folded(a, i) == folded(b, i) && folded(a, i) != 0)
        ++i;
    return folded(a, i) - folded(b, i);
}

// Where an item goes among sorted ones.
inline long insertion_point(const std::vector<string>& names, const string& name) {
    const long n = static_cast<long>(names.size());
    const auto order = [&](long i) { return compare(name, names[static_cast<unsigned long>(i)]); };
    if (n == 0)
        return 0;
    if (order(n - 1) >= 0)
        return n;
    if (n == 1)
        return 0;
    long lo = 0, hi = n - 2, point = 0;
    while (lo <= hi) {
        const long mid = (lo + hi + 1) / 2;
        if (order(mid) == 0)
            return mid + 1;
        if (order(mid) > 0) {
            lo = point = mid + 1;
        } else {
            if (mid == 0)
                return 0;
            hi = mid - 1;
            point = mid;
        }
    }
    return point;
}

// The items in the order in which adding them one by one puts them.
template <class Item, class NameOf>
std::vector<Item> added_one_by_one(const std::vector<Item>& items, NameOf name_of) {
    std::vector<string> names;
    std::vector<Item> placed;
    for (const Item& item : items) {
        const long at = insertion_point(names, name_of(item));
        names.insert(names.begin() + at, name_of(item));
        placed.insert(placed.begin() + at, item);
    }
    return placed;
}

// Reads a text in place.
class reader {
public:
    static constexpr long none = -1;
    struct place { // an item, as positions in the text
        long name = none, value = none;
        std::vector<place> attributes, children;
    };

    explicit reader(const string& text) : text_(text + string(2, '\0')) {}

    // Where reading stopped, or `none`.
    long load(place& into, long at) {
        while (text(at) != '<' && text(at) != 0)
            ++at;
        if (text(at) == 0 || text(++at) == 0)
            return at;
        if (text(at) == '/')
            return none;
        into.name = at;
        at = name_end(at);
        if (is_space(text(at)))
            text(at++) = 0;
        at = start_tag(into, at);
        into.attributes = sorted(into.attributes);
        return at;
    }

    // Parses the content of an element, and of all below it.
    void expand(place& element) {
        if (element.value == none || text(element.value) != '<')
            return;
        long at = element.value;
        for (;;) {
            place next;
            at = load(next, at);
            if (next.name != none)
                element.children.push_back(next);
            if (at == none || next.name == none || text(at) == 0)
                break;
        }
        element.children = sorted(element.children);
        element.value = none;
        for (place& child : element.children)
            expand(child);
    }

    const char* at(long position) const {
        return position == none ? nullptr : text_.c_str() + position;
    }

private:
    char& text(long at) { return text_.at(static_cast<unsigned long>(at)); }
    string name(long at) const { return name_at(this->at(at)); }
    std::vector<place> sorted(const std::vector<place>& places) const {
        return added_one_by_one(places, [this](const place& each) { return name(each.name); });
    }
    long name_end(long at) {
        while (!ends_name(text(at)))
            ++at;
        return at;
    }
    long end_of_text(long nul) { return text(nul + 1) == 0 ? nul + 1 : nul; }

    long start_tag(place& into, long at) {
        for (;;) {
            const char c = text(at);
            if (c == 0)
                return at;
            if (c == '>') {
                text(at++) = 0;
                while (is_space(text(at)))
                    ++at;
                into.value = at;
                return text(at) == 0 ? at : content(into, at);
            }
            if (c == '/' && text(at + 1) == '>') {
                text(at) = 0;
                return at + 2;
            }
            if (c == '/')
                text(at) = 0; // the end of a value, perhaps
            if (c == '/' || is_space(c)) {
                ++at;
                continue;
            }
            into.attributes.emplace_back();
            at = attribute(into.attributes.back(), at);
        }
    }

    long attribute(place& into, long at) {
        into.name = at;
        at = name_end(at);
        if (text(at) != '=')
            return at;
        text(at++) = 0; // the end of the value in front, perhaps
        while (is_space(text(at)))
            ++at;
        const char quote = text(at);
        if (quote == '"' || quote == '\'' || quote == '`') {
            into.value = ++at;
            while (text(at) != quote && text(at) != 0)
                ++at;
            if (text(at) != 0)
                text(at++) = 0;
            return at;
        }
        into.value = at;
        at = name_end(at);
        if (is_space(text(at)))
            text(at++) = 0;
        return at;
    }

    long content(const place& of, long at) {
        const string wanted = name(of.name);
        for (long depth = 1;;) {
            while (text(at) != '<' && text(at) != 0)
                ++at;
            if (text(at) == 0)
                return end_of_text(at);
            const long tag = at++;
            if (text(at) != '/') {
                const bool same = compare(name(at), wanted) == 0;
                depth += same;
                depth -= skip_tag(at) && same;
                continue;
            }
            if (compare(name(++at), wanted) == 0 && depth-- == 1) {
                long end = tag;
                while (end > of.value && is_space(text(end - 1)) && text(end - 1) != '\r')
                    --end;
                text(end) = 0;
            }
            while (text(at) != '>' && text(at) != 0)
                ++at;
            if (text(at) == 0 && depth == 0)
                return end_of_text(at);
            if (text(at) != 0)
                ++at;
            if (depth == 0)
                return at;
        }
    }

    // Whether it was an empty-element tag.
    bool skip_tag(long& at) {
        for (; text(at) != 0; ++at) {
            const char c = text(at);
            if (c == '"' || c == '\'') {
                do
                    ++at;
                while (text(at) != c && text(at) != 0);
                if (text(at) == 0)
                    return false;
            } else if (c == '>' || (c == '/' && text(at + 1) == '>')) {
                at += c == '>' ? 1 : 2;
                return c == '/';
            }
        }
        return false;
    }

    string text_;
};

} // namespace reference
