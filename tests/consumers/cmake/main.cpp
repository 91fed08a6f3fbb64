// A document is built, written and read back.
#include <orv/orv.hpp>

#include <cstdio>
#include <cstring>

int main() {
    xml::root written("order");
    written["item"]->setText("tea");
    str_t text;
    written.save(text, 0);

    xml::buffer* source = xml::buffer::create(text.c_str(), text.length());
    xml::root read;
    read.loadTag(source, source->text());
    source->release();
    const char* const item = read["item"]->value;
    std::printf("orv %s: %s -> %s\n", ORV_VERSION_STRING, text.c_str(), item);
    return std::strcmp(item, "tea") == 0 ? 0 : 1;
}
