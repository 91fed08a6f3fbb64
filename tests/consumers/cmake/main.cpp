// A document is built, written and read back.
#include <orv/orv.hpp>

#include <cstdio>
#include <cstring>

int main() {
    xml::root written("order");
    written["item"]->setText("tea");
    str_t text;
    written.save(text, 0);

    xml::root read;
    read.load(text.c_str(), text.length());
    const char* const item = read["item"]->value;
    std::printf("orv %s: %s -> %s\n", ORV_VERSION_STRING, text.c_str(), item);
    return std::strcmp(item, "tea") == 0 ? 0 : 1;
}
