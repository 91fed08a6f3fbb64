// A host that looks below an element before it knows whether that is there. An optimiser that was
// not told better takes the call for proof that it is, and drops the test behind it.
#include <orv/orv.hpp>

#include <cstdio>

int main() {
    xml::root reply("reply");
    xml::item* const body = reply.search("body");
    const xml::item* const sum = body->get("sum", nullptr);
    std::printf("%s, %s\n", body ? body->name : "no body", sum ? sum->value : "no sum");
}
