// The document model once more, as slow and plain as it can be written: recursive, byte by byte,
// one insertion after the other. What the library does with a document is compared with it.
#pragma once

#include <orv/xml/item.hpp>

#include <memory>
#include <string>
#include <vector>

namespace fuzz {

// The text of a node, shared by its copies, parsed in place, with two NULs behind it.
using shared_text = std::shared_ptr<std::vector<char>>;

struct node {
    shared_text text;
    const char* name = nullptr;
    char* value = nullptr;
    std::vector<node> children;
    std::vector<node> attributes;
    bool closed = false; // it was read from a text that has its end tag, or needs none

    // As the members of xml::item of the same names.
    char* load(const shared_text& source, char* position);
    node* get(const char* section, const char* key, bool& created);
    node* get(const char* section, const char* key);
    bool is_set(const char* child);
    node* search(const char* wanted);
    void clear();
    void set_text(const char* new_text);

    std::string save(bool in_lines, unsigned level = 0) const;
    // Gives it a name and a value in a text of its own.
    void hold(const char* new_name, const char* new_value);
    // Parses pending content; `expand_all` also that of all the nodes below.
    void expand();
    void expand_all();
    unsigned long size() const; // of the tree, in nodes

private:
    node* walk(const char* path, bool* created);
};

shared_text make_text(const std::string& bytes);

// As the members of xml::list of the same names.
node* list_get(std::vector<node>& in, const char* name, bool& created);
node* list_set(std::vector<node>& in, const char* name, const char* value, bool& created);
unsigned long list_add(std::vector<node>& in, node source);

// Whether a tree of the library is the same: names, values, the difference of null and empty ones,
// and the order of children and attributes.
bool same(const xml::item& ours, const node& expected);

// Whether writing this tree and reading the text again gives the same tree, with null and empty
// values taken as equal (`alike`). That cannot be promised of every tree, since nothing is escaped:
// a quote in a name or an attribute value ends something early, and markup in a text may open what
// nobody closes. All children must have been parsed.
bool survives_writing(const node& tree, bool is_top = true);
bool alike(const xml::item& a, const xml::item& b);

} // namespace fuzz
