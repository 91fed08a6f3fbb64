// A text, parsed, expanded and written, compact and indented, and read again. The input is the
// text.
#include "model.hpp"
#include "support.hpp"

#include <orv/xml/item.hpp>

namespace {

using fuzz::require;

// A document read from a text of its own.
struct document {
    xml::buffer* text;
    xml::item top;
    char* behind;

    explicit document(const std::string& bytes)
        : text(xml::buffer::create(bytes.data(), bytes.size())),
          behind(top.loadTag(text, text->text())) {}
    ~document() { text->release(); }
    document(const document&) = delete;
    document& operator=(const document&) = delete;
    long offset() const { return behind ? behind - text->text() : -1; }
};

// Level by level, each with a look of its own at the text.
void expand_all(xml::item& element) {
    element.is_set("");
    for (unsigned long i = 0; i < element.children.count; ++i)
        expand_all(element.children.items[i]);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes = fuzz::input(data, size).rest();
    const fuzz::shared_text text = fuzz::make_text(bytes);
    fuzz::node expected;
    char* const behind = expected.load(text, text->data());

    document by_levels(bytes);
    require(by_levels.offset() == (behind ? behind - text->data() : -1), "where reading stops");
    require(fuzz::same(by_levels.top, expected), "the first level is read as the model reads it");

    expected.expand_all();
    expand_all(by_levels.top);
    require(fuzz::same(by_levels.top, expected), "all levels are, one after the other");

    // A search that fails expands everything on its way, with one look at the text.
    document at_once(bytes);
    if (!at_once.top.search("\x7f\x7f\x7f"))
        require(fuzz::same(at_once.top, expected), "all levels are, in one search");
    at_once.top = xml::item();
    require(at_once.text->refs == 1, "the text is released as often as it is held");

    str_t compact, indented;
    by_levels.top.save(compact, 0);
    by_levels.top.saveF(indented, 0);
    require(expected.save(false) == compact.c_str(), "compact text");
    require(expected.save(true) == indented.c_str(), "indented text");
    if (!fuzz::survives_writing(expected))
        return 0;
    for (const str_t& written : {compact, indented}) {
        document again(written.c_str());
        expand_all(again.top);
        require(fuzz::alike(again.top, by_levels.top), "what was written reads back");
    }
    return 0;
}
