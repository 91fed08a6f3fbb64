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
    for (; rank(*a) == rank(*b); ++a, ++b) {
        if (rank(*a) == 0)
            return 0;
    }
    return rank(*a) - rank(*b);
}

struct place {
    long index;
    bool found;
};

// Where a name stands, or is to be inserted. The last item is asked first, the others by bisection.
place locate(const std::vector<node>& in, const char* name) {
    const long n = static_cast<long>(in.size());
    const auto against = [&](long i) {
        return order(name, in[static_cast<unsigned long>(i)].name);
    };
    if (n == 0)
        return {0, false};
    if (against(n - 1) == 0)
        return {n - 1, true};
    if (against(n - 1) > 0)
        return {n, false};
    long insert_at = 0;
    for (long low = 0, high = n - 2; low <= high;) {
        const long middle = (low + high + 1) / 2;
        if (against(middle) == 0)
            return {middle, true};
        if (against(middle) > 0) {
            low = middle + 1;
            insert_at = middle + 1;
        } else {
            high = middle - 1;
            insert_at = middle;
        }
    }
    return {insert_at, false};
}

node* insert(std::vector<node>& in, long at, node&& fresh) {
    return &*in.insert(in.begin() + at, std::move(fresh));
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
        char* const tag = at++;
        if (*at == '/') {
            ++at;
            if (order(at, element.name) == 0) {
                if (depth == 1) {
                    char* last = tag;
                    while (last > element.value && is_trimmed(last[-1]))
                        --last;
                    // Cut when the way on is known: the end tag itself may be cut off.
                    char* const behind = find(at, '>');
                    *last = 0;
                    element.closed = true;
                    return *behind == 0 ? behind_end(behind) : behind + 1;
                }
                --depth;
            }
            at = find(at, '>');
            if (*at != 0)
                ++at;
            continue;
        }
        const bool same_name = order(at, element.name) == 0;
        if (same_name)
            ++depth;
        for (; *at != 0 && *at != '>'; ++at) {
            if (*at == '"' || *at == '\'') {
                at = find(at + 1, *at);
                if (*at == 0)
                    break;
            } else if (*at == '/' && at[1] == '>' && same_name) {
                --depth;
            }
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

bool equal(const char* a, const char* b) { return a && b ? std::strcmp(a, b) == 0 : a == b; }

bool holds(const std::string& text, const char* bytes) {
    return text.find_first_of(bytes) != std::string::npos;
}

std::string start_tag(const node& of) {
    std::string text = "<" + name_text(of.name);
    for (const node& attribute : of.attributes) {
        if (!attribute.name)
            continue;
        text += " " + name_text(attribute.name);
        if (attribute.value && *attribute.value)
            text += "=\"" + std::string(attribute.value) + "\"";
    }
    return text;
}

bool is_empty(const node& element) {
    return element.children.empty() && !(element.value && *element.value);
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
        } else if (*at == '/' && at[1] == '>') {
            *at = 0;
            closed = true;
            return at + 2;
        } else if (*at == '/') {
            *at++ = 0;
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
    for (char* at = value;;) {
        node next;
        at = next.load(text, at);
        if (next.name)
            list_add(children, next);
        if (!at || !next.name || *at == 0)
            break;
    }
    value = nullptr;
}

void node::expand_all() {
    expand();
    for (node& child : children)
        child.expand_all();
}

node* node::get(const char* path, bool& created) {
    node* current = this;
    for (;;) {
        while (*path == '/')
            ++path;
        if (*path == 0)
            return current;
        current->expand();
        current = list_get(current->children, path, created);
        while (*path != '/' && *path != 0)
            ++path;
    }
}

node* node::find(const char* path) {
    node* current = this;
    for (;;) {
        while (*path == '/')
            ++path;
        if (*path == 0)
            return current;
        current->expand();
        const place at = locate(current->children, path);
        if (!at.found)
            return nullptr;
        current = &current->children[static_cast<unsigned long>(at.index)];
        while (*path != '/' && *path != 0)
            ++path;
    }
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
    const shared_text fresh = make_text(own_name + '\0' + (new_value ? new_value : ""));
    text = fresh;
    name = fresh->data();
    value = fresh->data() + own_name.size() + 1;
}

void node::set_text(const char* new_text) {
    hold(name, new_text);
    children.clear();
}

std::string node::save() const {
    if (!name)
        return "";
    if (is_empty(*this))
        return start_tag(*this) + "/>";
    std::string content;
    for (const node& child : children)
        content += child.save();
    return start_tag(*this) + ">" + (children.empty() ? value : content) + "</" + name_text(name) +
           ">";
}

std::string node::save_indented(unsigned level) const {
    if (name_text(name).empty())
        return "";
    const std::string indent(level, ' ');
    if (is_empty(*this))
        return indent + start_tag(*this) + "/>\n";
    std::string content;
    for (const node& child : children)
        content += child.save_indented(level + 1);
    return indent + start_tag(*this) + ">\n" +
           (children.empty() ? indent + " " + value + "\n" : content) + indent + "</" +
           name_text(name) + ">\n";
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
    if (at.found)
        return &in[static_cast<unsigned long>(at.index)];
    node fresh;
    fresh.hold(name, nullptr);
    return insert(in, at.index, std::move(fresh));
}

node* list_set(std::vector<node>& in, const char* name, const char* value, bool& created) {
    const place at = locate(in, name);
    created = !at.found;
    if (!at.found) {
        node fresh;
        fresh.hold(name, value);
        return insert(in, at.index, std::move(fresh));
    }
    node& old = in[static_cast<unsigned long>(at.index)];
    if (value && *value)
        old.hold(old.name, value);
    else
        old.value = nullptr;
    return &old;
}

unsigned long list_add(std::vector<node>& in, node source) {
    const place at = locate(in, source.name);
    const long index = at.index + (at.found ? 1 : 0);
    insert(in, index, std::move(source));
    return static_cast<unsigned long>(index);
}

namespace {

bool same_list(const xml::list& ours, const std::vector<node>& expected) {
    if (ours.count != expected.size() || (ours.count == 0 && ours.items))
        return false;
    for (unsigned long i = 0; i < ours.count; ++i) {
        if (!same(ours.items[i], expected[i]))
            return false;
    }
    return true;
}

bool alike_list(const xml::list& a, const xml::list& b) {
    if (a.count != b.count)
        return false;
    for (unsigned long i = 0; i < a.count; ++i) {
        if (!alike(a.items[i], b.items[i]))
            return false;
    }
    return true;
}

} // namespace

bool same(const xml::item& ours, const node& expected) {
    return !ours.name == !expected.name && name_text(ours.name) == name_text(expected.name) &&
           equal(ours.value, expected.value) && same_list(ours.attributes, expected.attributes) &&
           same_list(ours.children, expected.children);
}

bool alike(const xml::item& a, const xml::item& b) {
    return name_text(a.name) == name_text(b.name) &&
           equal(a.value ? a.value : "", b.value ? b.value : "") &&
           alike_list(a.attributes, b.attributes) && alike_list(a.children, b.children);
}

bool survives_writing(const node& tree, bool is_top) {
    const std::string name = name_text(tree.name);
    const std::string text = tree.value ? tree.value : "";
    if (name.empty() || holds(name, "\"'"))
        return false;
    if (holds(text, "<") && !(is_top && tree.closed))
        return false;
    if (!text.empty() && (is_space(text.front()) || is_trimmed(text.back())))
        return false;
    for (const node& attribute : tree.attributes) {
        const std::string of_attribute = name_text(attribute.name);
        if (of_attribute.empty() || holds(of_attribute, "\"'"))
            return false;
        if (attribute.value && std::strchr(attribute.value, '"'))
            return false;
    }
    for (const node& child : tree.children) {
        if (!survives_writing(child, false))
            return false;
    }
    return true;
}

} // namespace fuzz
