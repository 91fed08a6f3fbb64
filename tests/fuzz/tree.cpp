// A sequence of operations on a few documents, each carried out on a model as well. The input is a
// byte that chooses an operation, then its arguments: a byte for a number or a document, a text up
// to a NUL for a name, path or value.
#include "model.hpp"
#include "support.hpp"

#include <orv/xml/root.hpp>

namespace {

using fuzz::input;
using fuzz::node;
using fuzz::optional_text;
using fuzz::require;

// An element, in the library and in the model. Both are null, or neither is.
struct both {
    xml::item* ours;
    node* expected;

    explicit operator bool() const { return ours != nullptr; }
    xml::list& list(bool attributes) const {
        return attributes ? ours->attributes : ours->children;
    }
    std::vector<node>& model_list(bool attributes) const {
        return attributes ? expected->attributes : expected->children;
    }
    void compare(const char* what) const {
        require(!ours == !expected, what);
        require(!ours || fuzz::same(*ours, *expected), what);
    }
};

class session {
public:
    explicit session(input from) : in_(from) {}

    void run() {
        for (unsigned i = 0; i < documents; ++i) {
            ours_[i] = xml::root("root");
            expected_[i].hold("root", nullptr);
        }
        while (!in_.empty())
            step();
        for (unsigned i = 0; i < documents; ++i)
            document(i).compare("the documents at the end");
    }

private:
    // Copies of copies would grow beyond all bounds.
    static constexpr unsigned long large = 500;
    static constexpr unsigned documents = 3;

    both document(unsigned i) { return {&ours_[i], &expected_[i]}; }
    both document() { return document(in_.below(documents)); }
    // An existing element, or null.
    both element() {
        const both top = document();
        const std::string path = in_.text();
        const both at{top.ours->get(path.c_str(), nullptr), top.expected->find(path.c_str())};
        at.compare("a lookup that creates nothing");
        return at;
    }
    bool too_large() const {
        unsigned long sum = 0;
        for (const node& each : expected_)
            sum += each.size();
        return sum > large;
    }

    void step() {
        switch (in_.below(16)) {
        case 0:
            return load(document());
        case 1:
            return create(document());
        case 2:
            return create_in_section(document());
        case 3:
            return find_in_section(document());
        case 4:
            return ask(element());
        case 5:
            return search(element());
        case 6:
            return set_text(element());
        case 7:
            return list_get(element());
        case 8:
            return list_set(element());
        case 9:
            return too_large() ? void() : list_add();
        case 10:
            return too_large() ? void() : assign_document();
        case 11:
            return too_large() ? void() : assign_element();
        case 12:
            return too_large() ? void() : assign_list();
        case 13:
            return clear(element());
        case 14:
            return save(element());
        default:
            return nothing();
        }
    }

    void load(both top) {
        const std::string bytes = in_.text();
        xml::buffer* buffer = xml::buffer::create(bytes.data(), bytes.size());
        const fuzz::shared_text text = fuzz::make_text(bytes);
        char* const stop = top.ours->loadTag(buffer, buffer->text());
        char* const expected = top.expected->load(text, text->data());
        require(!stop == !expected, "whether reading stopped at an end tag");
        require(!stop || stop - buffer->text() == expected - text->data(), "where reading stopped");
        buffer->release();
        top.compare("a document that was loaded");
    }
    void create(both top) {
        const std::string path = in_.text();
        bool created;
        const both at{(*top.ours)[path.c_str()], top.expected->get(path.c_str(), created)};
        at.compare("an element that was asked for");
        require(top.ours->get(path.c_str(), nullptr) == at.ours, "it is found again");
    }
    void create_in_section(both top) {
        const optional_text section(in_), key(in_);
        bool created, expected_created = false;
        xml::item* const ours = top.ours->get(section.get(), key.get(), created);
        node* expected = top.expected;
        if (section.get())
            expected = expected->get(section.get(), expected_created);
        if (key.get())
            expected = expected->get(key.get(), expected_created);
        require(created == expected_created, "whether it was created");
        both{ours, expected}.compare("an element of a section that was asked for");
        require(top.ours->get(section.get(), key.get()) == ours,
                "it is found again in its section");
    }
    void find_in_section(both top) {
        const optional_text section(in_), key(in_);
        node* expected = top.expected;
        if (section.get())
            expected = expected->find(section.get());
        if (expected && key.get())
            expected = expected->find(key.get());
        both{top.ours->get(section.get(), key.get()), expected}.compare("a lookup in a section");
    }
    void ask(both at) {
        const std::string name = in_.text();
        require(at.ours->is_set(name.c_str()) == (at && at.expected->is_set(name.c_str())),
                "whether there is a child");
    }
    void search(both at) {
        const std::string name = in_.text();
        both{at.ours->search(name.c_str()), at ? at.expected->search(name.c_str()) : nullptr}
            .compare("what a search meets");
    }
    void set_text(both at) {
        const optional_text text(in_);
        at.ours->setText(text.get());
        if (!at)
            return;
        at.expected->set_text(text.get());
        require(std::strcmp(at.ours->value, text.get() ? text.get() : "") == 0, "what was set");
        at.compare("an element whose text was set");
    }
    void list_get(both at) {
        const bool attributes = in_.below(2) != 0;
        const optional_text name(in_);
        if (!at)
            return;
        bool created, expected_created;
        xml::item* const ours = at.list(attributes).get(name.get(), created);
        both{ours, fuzz::list_get(at.model_list(attributes), name.get(), expected_created)}.compare(
            "an item of a list");
        require(created == expected_created, "whether it was created in a list");
    }
    void list_set(both at) {
        const bool attributes = in_.below(2) != 0;
        const optional_text name(in_), value(in_);
        if (!at)
            return;
        bool created, expected_created;
        xml::item* const ours = at.list(attributes).set(name.get(), value.get(), created);
        both{ours,
             fuzz::list_set(at.model_list(attributes), name.get(), value.get(), expected_created)}
            .compare("an item of a list that was set");
        require(created == expected_created, "whether it was created to be set");
    }
    void list_add() {
        const both at = element();
        const both source = element();
        const bool attributes = in_.below(2) != 0;
        if (!at || !source)
            return;
        const node copy = *source.expected; // which may be in that very list
        require(at.list(attributes).add(*source.ours) ==
                    fuzz::list_add(at.model_list(attributes), copy),
                "where an item was added");
    }
    void assign_document() {
        const both top = document();
        const both source = element();
        if (!source)
            return;
        xml::root& target = static_cast<xml::root&>(*top.ours);
        target = *source.ours;
        if (source.expected == top.expected)
            return;
        node copy = *source.expected;
        copy.hold(copy.name, copy.value);
        *top.expected = std::move(copy);
        top.compare("a document that was assigned");
    }
    void assign_element() {
        const both at = element();
        const both source = element();
        if (!at || !source)
            return;
        // Not in name order any more, if it was an element with siblings.
        if (at.ours != &ours_[0] && at.ours != &ours_[1] && at.ours != &ours_[2])
            return;
        *at.ours = *source.ours;
        node copy = *source.expected;
        *at.expected = std::move(copy);
        at.compare("an element that was assigned");
    }
    void assign_list() {
        const both at = element();
        const both source = element();
        const bool attributes = in_.below(2) != 0;
        if (!at || !source)
            return;
        at.list(attributes) = source.list(attributes);
        std::vector<node> copy = source.model_list(attributes);
        at.model_list(attributes) = std::move(copy);
    }
    void clear(both at) {
        at.ours->clear();
        if (at)
            at.expected->clear();
    }
    void save(both at) {
        str_t compact, indented;
        at.ours->save(compact, 0);
        at.ours->saveF(indented, 0);
        require((at ? at.expected->save() : "") == compact.c_str(), "compact text");
        require((at ? at.expected->save_indented() : "") == indented.c_str(), "indented text");
    }
    // The ways in that are no way in.
    void nothing() {
        xml::item* volatile null = nullptr; // not a constant that the compiler sees through
        xml::item* const none = null;
        bool created;
        require(!(*none)["a"] && !none->get("a", "b") && !none->get("a", "b", created) && !created,
                "nothing is in a null item");
        require(!none->is_set("a") && !none->search("a"), "nothing is found in a null item");
        const both top = document();
        require((*top.ours)[nullptr] == top.ours && (*top.ours)["//"] == top.ours, "an empty path");
    }

    input in_;
    xml::root ours_[documents];
    node expected_[documents];
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    session(fuzz::input(data, size)).run();
    return 0;
}
