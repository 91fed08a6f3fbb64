#include "model.hpp"

#include <cstring>

namespace fuzz {

namespace {

bool is_trimmed(char c) { return c == ' ' || c == '\n' || c == '\t'; }
bool is_space(char c) { return is_trimmed(c) || c == '\r'; }
bool ends_name(char c) { return c == 0 || is_space(c) || c == '/' || c == '=' || c == '>'; }
std::string name_text(const char* name) {
    std::string text;
    for (; name && !ends_name(*name); ++name)
        text += *name;
    return text;
}

int rank(char c) {
    const int byte = static_cast<signed char>(c);
    return ends_name(c) ? 0 : byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
}

int order(const char* a, const char* b) {
    a = a ? a : "";
    b = b ? b : "";
    for (; rank(*a) == rank(*b) && rank(*a) != 0; ++a)
        ++b;
    return rank(*a) - rank(*b);
}

struct place {
    long index;
    bool found;
};

// Where a name stands, or is to be inserted. The last item is asked first, the others by bisection.
place locate(const std::vector<node>& in, const char* name) {
    long low = 0, high = static_cast<long>(in.size()) - 1;
    for (long at = high; low <= high; at = (low + high + 1) / 2) {
        const int found = order(name, in[static_cast<unsigned long>(at)].name);
        if (found == 0)
            return {at, true};
        if (found > 0)
            low = at + 1;
        else
            high = at - 1;
    }
    return {low, false};
}

char* skip_space(char* at) {
    while (is_space(*at))
        ++at;
    return at;
}

char* name_end(char* at) {
    while (!ends_name(*at))
        ++at;
    return at;
}

char* cut_space(char* at) {
    if (is_space(*at))
        *at++ = 0;
    return at;
}

char* find(char* at, char wanted) {
    while (*at != wanted && *at != 0)
        ++at;
    return at;
}

char* behind_end(char* nul) { return nul[1] == 0 ? nul + 1 : nul; }

// From behind the ">" of a start tag to behind the end tag.
char* read_content(node& element) {
    long depth = 1;
    for (char* at = element.value;;) {
        at = find(at, '<');
        if (*at == 0)
            return behind_end(at);
        char* last = at++;
        const bool is_end_tag = *at == '/';
        const bool same_name = order(is_end_tag ? at + 1 : at, element.name) == 0;
        if (!is_end_tag) {
            depth += same_name;
            for (; *at != 0 && *at != '>'; ++at) {
                if (*at == '/' && at[1] == '>')
                    depth -= same_name;
                if (*at == '"' || *at == '\'')
                    at = find(at + 1, *at);
                if (*at == 0)
                    break;
            }
            continue;
        }
        at = find(at, '>');
        if (same_name && --depth == 0) {
            while (last > element.value && is_trimmed(last[-1]))
                --last;
            *last = 0;
            element.closed = true;
            return *at == 0 ? behind_end(at) : at + 1;
        }
    }
}

char* read_attribute(node& element, char* at) {
    node attribute;
    attribute.text = element.text;
    attribute.name = at;
    at = name_end(at);
    if (*at == '=') {
        *at++ = 0;
        at = skip_space(at);
        if (*at == '"' || *at == '\'' || *at == '`') {
            attribute.value = at + 1;
            at = find(at + 1, *at);
            if (*at != 0)
                *at++ = 0;
        } else {
            attribute.value = at;
            at = cut_space(name_end(at));
        }
    }
    list_add(element.attributes, attribute);
    return at;
}

} // namespace

shared_text make_text(const std::string& bytes) {
    auto made = std::make_shared<std::vector<char>>(bytes.begin(), bytes.end());
    made->insert(made->end(), 2, '\0');
    return made;
}

char* node::load(const shared_text& source, char* position) {
    clear();
    name = nullptr;
    text = source;
    closed = false;
    if (!position)
        return nullptr;
    char* at = fuzz::find(position, '<');
    if (*at == 0)
        return at;
    ++at;
    if (*at == '/')
        return nullptr;
    if (*at == 0)
        return at;
    name = at;
    at = cut_space(name_end(at));
    for (;;) {
        if (is_space(*at)) {
            ++at;
        } else if (*at == '>') {
            *at = 0;
            value = skip_space(at + 1);
            return *value == 0 ? value : read_content(*this);
        } else if (*at == '/') {
            *at++ = 0;
            closed = *at == '>';
            if (closed)
                return at + 1;
        } else if (*at == 0) {
            return at;
        } else {
            at = read_attribute(*this, at);
        }
    }
}

void node::expand() {
    if (!children.empty() || !value || *value != '<')
        return;
    for (char* at = value; at && *at != 0;) {
        node next;
        at = next.load(text, at);
        if (!next.name)
            break;
        list_add(children, next);
    }
    value = nullptr;
}

void node::expand_all() {
    expand();
    for (node& child : children)
        child.expand_all();
}

// Missing elements are created if there is a `created`.
node* node::walk(const char* path, bool* created) {
    node* at = this;
    while (at) {
        path += std::strspn(path, "/");
        if (*path == 0)
            break;
        at->expand();
        const place found = locate(at->children, path);
        if (created)
            at = list_get(at->children, path, *created);
        else
            at = found.found ? &at->children[static_cast<unsigned long>(found.index)] : nullptr;
        path += std::strcspn(path, "/");
    }
    return at;
}

node* node::get(const char* section, const char* key, bool& created) {
    created = false;
    node* const at = section ? walk(section, &created) : this;
    return key ? at->walk(key, &created) : at;
}

node* node::get(const char* section, const char* key) {
    node* const at = section ? walk(section, nullptr) : this;
    return at && key ? at->walk(key, nullptr) : at;
}

bool node::is_set(const char* child) {
    expand();
    return locate(children, child).found;
}

node* node::search(const char* wanted) {
    if (order(name, wanted) == 0)
        return this;
    expand();
    for (node& child : children) {
        if (node* hit = child.search(wanted))
            return hit;
    }
    return nullptr;
}

void node::clear() {
    value = nullptr;
    attributes.clear();
    children.clear();
}

void node::hold(const char* new_name, const char* new_value) {
    const std::string own_name = name_text(new_name);
    text = make_text(own_name + '\0' + (new_value ? new_value : ""));
    name = text->data();
    value = text->data() + own_name.size() + 1;
}

void node::set_text(const char* new_text) {
    hold(name, new_text);
    children.clear();
}

std::string node::save(bool in_lines, unsigned level) const {
    const std::string own_name = name_text(name);
    if (in_lines ? own_name.empty() : !name)
        return "";
    const std::string indent(in_lines ? level : 0, ' '), line_end(in_lines ? "\n" : "");
    std::string written = indent + "<" + own_name;
    for (const node& attribute : attributes) {
        if (attribute.name)
            written += " " + name_text(attribute.name);
        if (attribute.name && attribute.value && *attribute.value)
            written += "=\"" + std::string(attribute.value) + "\"";
    }
    std::string content;
    for (const node& child : children)
        content += child.save(in_lines, level + 1);
    if (children.empty()) {
        if (!value || !*value)
            return written + "/>" + line_end;
        content = indent + (in_lines ? " " : "") + value + line_end;
    }
    return written + ">" + line_end + content + indent + "</" + own_name + ">" + line_end;
}

unsigned long node::size() const {
    unsigned long sum = 1 + attributes.size();
    for (const node& child : children)
        sum += child.size();
    return sum;
}

node* list_get(std::vector<node>& in, const char* name, bool& created) {
    const place at = locate(in, name);
    created = !at.found;
    if (created)
        in.emplace(in.begin() + at.index)->hold(name, nullptr);
    return &in[static_cast<unsigned long>(at.index)];
}

node* list_set(std::vector<node>& in, const char* name, const char* value, bool& created) {
    node* const item = list_get(in, name, created);
    if (created || (value && *value))
        item->hold(item->name, value);
    else
        item->value = nullptr;
    return item;
}

unsigned long list_add(std::vector<node>& in, node source) {
    const place at = locate(in, source.name);
    const long index = at.index + (at.found ? 1 : 0);
    in.insert(in.begin() + index, std::move(source));
    return static_cast<unsigned long>(index);
}

namespace {

// The lists of both models, as one kind.
template <class Item>
struct items {
    const Item* first;
    unsigned long count;
};
items<node> all(const std::vector<node>& of) { return {of.data(), of.size()}; }
items<xml::item> all(const xml::list& of) { return {of.items, of.count}; }

template <class Other>
bool equal(const xml::item& a, const Other& b, const char* null_value) {
    const char* const x = a.value ? a.value : null_value;
    const char* const y = b.value ? b.value : null_value;
    const auto equal_lists = [&](const auto& ours, const auto& others) {
        // An empty list has no array.
        bool holds = ours.count == others.count && (ours.count != 0 || !ours.first);
        for (unsigned long i = 0; holds && i < ours.count; ++i)
            holds = equal(ours.first[i], others.first[i], null_value);
        return holds;
    };
    return !a.name == !b.name && name_text(a.name) == name_text(b.name) && !x == !y &&
           (!x || std::strcmp(x, y) == 0) && equal_lists(all(a.attributes), all(b.attributes)) &&
           equal_lists(all(a.children), all(b.children));
}

} // namespace

bool same(const xml::item& ours, const node& expected) { return equal(ours, expected, nullptr); }
bool alike(const xml::item& a, const xml::item& b) { return equal(a, b, ""); }

bool survives_writing(const node& tree, bool is_top) {
    const auto is_named = [](const node& of) {
        const std::string name = name_text(of.name);
        return !name.empty() && name.find_first_of("\"'") == std::string::npos;
    };
    const std::string text = tree.value ? tree.value : "";
    if (!text.empty() && (is_space(text.front()) || is_trimmed(text.back())))
        return false;
    bool survives =
        is_named(tree) && (text.find('<') == std::string::npos || (is_top && tree.closed));
    for (const node& each : tree.attributes)
        survives = survives && is_named(each) && !(each.value && std::strchr(each.value, '"'));
    for (const node& child : tree.children)
        survives = survives && survives_writing(child, false);
    return survives;
}

} // namespace fuzz
