// A host that looks below an element before it knows whether the element exists. Without the option
// for null receivers an optimiser takes the call as proof that it does, and drops the check after
// it.
#include <orv/orv.hpp>

#include <cstdio>

int main() {
    xml::root reply("reply");
    xml::item* const body = reply.search("body");
    const xml::item* const sum = body->get("sum", nullptr);
    std::printf("%s, %s\n", body ? body->name : "no body", sum ? sum->value : "no sum");
}
