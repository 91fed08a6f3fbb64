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

    document(const char* bytes, unsigned long size) : text(xml::buffer::create(bytes, size)) {
        behind = top.loadTag(text, text->text());
    }
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

void reread(const str_t& written, const xml::item& expected, const char* what) {
    document again(written.c_str(), written.length());
    expand_all(again.top);
    require(fuzz::alike(again.top, expected), what);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* const bytes = reinterpret_cast<const char*>(data);
    const fuzz::shared_text text = fuzz::make_text(std::string(bytes, size));
    fuzz::node expected;
    char* const behind = expected.load(text, text->data());

    document by_levels(bytes, size);
    require(by_levels.offset() == (behind ? behind - text->data() : -1), "where reading stops");
    require(fuzz::same(by_levels.top, expected), "the first level is read as the model reads it");

    expected.expand_all();
    expand_all(by_levels.top);
    require(fuzz::same(by_levels.top, expected), "all levels are, one after the other");

    // A search that fails expands everything on its way, with one look at the text.
    document at_once(bytes, size);
    if (!at_once.top.search("\x7f\x7f\x7f"))
        require(fuzz::same(at_once.top, expected), "all levels are, in one search");

    str_t compact;
    by_levels.top.save(compact, 0);
    require(expected.save() == compact.c_str(), "compact text");
    str_t indented;
    by_levels.top.saveF(indented, 0);
    require(expected.save_indented() == indented.c_str(), "indented text");

    if (fuzz::survives_writing(expected)) {
        reread(compact, by_levels.top, "compact text reads back");
        reread(indented, by_levels.top, "indented text reads back");
    }
    return 0;
}
