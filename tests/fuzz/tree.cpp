// A sequence of operations on a few documents, each carried out on a model as well. The input is a
// byte that chooses an operation, then its arguments: a byte for a number or a document, a text up
// to a NUL for a name, path or value.
#include "model.hpp"
#include "support.hpp"

#include <orv/xml/root.hpp>

#include <iterator>
#include <utility>

namespace {

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
    explicit session(fuzz::input from) : in_(from) {}

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
    static constexpr unsigned documents = 3;

    both document(unsigned i) { return {&ours_[i], &expected_[i]}; }
    both document() { return document(in_.below(documents)); }
    // An existing element, or null.
    both element() {
        const both top = document();
        const std::string path = in_.text();
        const both at{top.ours->get(path.c_str(), nullptr),
                      top.expected->get(path.c_str(), nullptr)};
        at.compare("a lookup that creates nothing");
        return at;
    }
    // Copies of copies would grow beyond all bounds.
    bool too_large() const {
        unsigned long sum = 0;
        for (const node& each : expected_)
            sum += each.size();
        return sum > 500;
    }

    void step() {
        static constexpr void (session::*operations[])() = {&session::load,
                                                            &session::create,
                                                            &session::create_in_section,
                                                            &session::find_in_section,
                                                            &session::ask,
                                                            &session::search,
                                                            &session::set_text,
                                                            &session::list_get,
                                                            &session::list_set,
                                                            &session::list_add,
                                                            &session::assign_document,
                                                            &session::assign_element,
                                                            &session::assign_list,
                                                            &session::clear,
                                                            &session::save,
                                                            &session::swap};
        const unsigned chosen = in_.below(std::size(operations));
        const bool copies = chosen >= 9 && chosen <= 12;
        if (!copies || !too_large())
            (this->*operations[chosen])();
    }

    void load() {
        const both top = document();
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
    void create() {
        const both top = document();
        const std::string path = in_.text();
        bool created;
        const both at{(*top.ours)[path.c_str()], top.expected->get(path.c_str(), nullptr, created)};
        at.compare("an element that was asked for");
        require(top.ours->get(path.c_str(), nullptr) == at.ours, "it is found again");
    }
    void create_in_section() {
        const both top = document();
        const optional_text section(in_), key(in_);
        bool created, expected_created;
        const both at{top.ours->get(section.get(), key.get(), created),
                      top.expected->get(section.get(), key.get(), expected_created)};
        require(created == expected_created, "whether it was created");
        at.compare("an element of a section that was asked for");
        require(top.ours->get(section.get(), key.get()) == at.ours,
                "it is found again in its section");
    }
    void find_in_section() {
        const both top = document();
        const optional_text section(in_), key(in_);
        both{top.ours->get(section.get(), key.get()), top.expected->get(section.get(), key.get())}
            .compare("a lookup in a section");
    }
    void ask() {
        const both at = element();
        const std::string name = in_.text();
        require(at.ours->is_set(name.c_str()) == (at && at.expected->is_set(name.c_str())),
                "whether there is a child");
    }
    void search() {
        const both at = element();
        const std::string name = in_.text();
        both{at.ours->search(name.c_str()), at ? at.expected->search(name.c_str()) : nullptr}
            .compare("what a search meets");
    }
    void set_text() {
        const both at = element();
        const optional_text text(in_);
        at.ours->setText(text.get());
        if (!at)
            return;
        at.expected->set_text(text.get());
        at.compare("an element whose text was set");
    }
    void list_get() {
        const both at = element();
        const bool attributes = in_.below(2) != 0;
        const optional_text name(in_);
        if (!at)
            return;
        bool created, expected_created;
        both{at.list(attributes).get(name.get(), created),
             fuzz::list_get(at.model_list(attributes), name.get(), expected_created)}
            .compare("an item of a list");
        require(created == expected_created, "whether it was created in a list");
    }
    void list_set() {
        const both at = element();
        const bool attributes = in_.below(2) != 0;
        const optional_text name(in_), value(in_);
        if (!at)
            return;
        bool created, expected_created;
        both{at.list(attributes).set(name.get(), value.get(), created),
             fuzz::list_set(at.model_list(attributes), name.get(), value.get(), expected_created)}
            .compare("an item of a list that was set");
        require(created == expected_created, "whether it was created to be set");
    }
    void list_add() {
        const both at = element(), source = element();
        const bool attributes = in_.below(2) != 0;
        if (!at || !source)
            return;
        const node copy = *source.expected; // which may be in that very list
        require(at.list(attributes).add(*source.ours) ==
                    fuzz::list_add(at.model_list(attributes), copy),
                "where an item was added");
    }
    void assign_document() {
        const both top = document(), source = element();
        if (!source)
            return;
        static_cast<xml::root&>(*top.ours) = *source.ours;
        if (source.expected == top.expected)
            return;
        node copy = *source.expected;
        copy.hold(copy.name, copy.value);
        *top.expected = std::move(copy);
        top.compare("a document that was assigned");
    }
    void assign_element() {
        const both at = element(), source = element();
        // Not in name order any more, if it was an element with siblings.
        if (!source || (at.ours != &ours_[0] && at.ours != &ours_[1] && at.ours != &ours_[2]))
            return;
        *at.ours = *source.ours;
        *at.expected = node(*source.expected);
        at.compare("an element that was assigned");
    }
    void assign_list() {
        const both at = element(), source = element();
        const bool attributes = in_.below(2) != 0;
        if (!at || !source)
            return;
        at.list(attributes) = source.list(attributes);
        at.model_list(attributes) = std::vector<node>(source.model_list(attributes));
    }
    void clear() {
        const both at = element();
        at.ours->clear();
        if (at)
            at.expected->clear();
    }
    void save() {
        const both at = element();
        str_t compact, indented;
        at.ours->save(compact, 0);
        at.ours->saveF(indented, 0);
        require((at ? at.expected->save(false) : "") == compact.c_str(), "compact text");
        require((at ? at.expected->save(true) : "") == indented.c_str(), "indented text");
    }
    void swap() {
        const both top = document();
        ours_[0].swap(*top.ours);
        std::swap(expected_[0], *top.expected);
    }

    fuzz::input in_;
    xml::root ours_[documents];
    node expected_[documents];
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    session(fuzz::input(data, size)).run();
    return 0;
}
