// A document is written and read back.
#include <orv/orv.hpp>

#include <cstdio>
#include <cstring>

int main() {
    xml::root written("order"), read;
    written["item"]->setText("tea");
    str_t text;
    written.save(text, 0);
    read.load(text.c_str(), text.length());
    std::printf("orv %s: %s\n", ORV_VERSION_STRING, text.c_str());
    return std::strcmp(read["item"]->value, "tea");
}
