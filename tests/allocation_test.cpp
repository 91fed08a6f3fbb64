// Memory that runs out, at each allocation in turn: the exception passes through, nothing leaks,
// and texts and lists are as they were.
#include <orv/buffers/bin.hpp>
#include <orv/xml/root.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace {

long blocks = 0;         // allocated now
long until_failure = -1; // allocations that still succeed; all if negative

void* allocate(std::size_t size) {
    void* const block = until_failure == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
    until_failure -= until_failure >= 0;
    if (!block)
        throw std::bad_alloc();
    ++blocks;
    return block;
}

void give_back(void* block) {
    blocks -= block != nullptr;
    std::free(block);
}

} // namespace

// In place of those of the whole program, the library included.
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { give_back(block); }
void operator delete[](void* block) noexcept { give_back(block); }
void operator delete(void* block, std::size_t) noexcept { give_back(block); }
void operator delete[](void* block, std::size_t) noexcept { give_back(block); }

namespace {

// Calls `work`, which fails at its first allocation, then at its second, and so on until it goes
// through; after each failure calls `check`.
template <class Work, class Check>
void fail_everywhere(Work work, Check check) {
    for (long next = 0;; ++next) {
        const long before = blocks;
        until_failure = next;
        try {
            work();
            until_failure = -1;
            EXPECT_GT(next, 0); // or the allocations are not counted here
            return;
        } catch (const std::bad_alloc&) {
            until_failure = -1;
        }
        ASSERT_EQ(blocks, before) << "at allocation " << next;
        check();
    }
}

TEST(OutOfMemory, NothingLeaks) {
    std::string children, attributes;
    for (int i = 0; i < 70; ++i) {
        const std::string name = "a" + std::to_string(i * 37 % 35);
        children += "<" + name + " v=1><k>x</k></" + name + ">";
        attributes += " " + name + "=1";
    }
    const std::string text = "<r" + attributes + ">" + children + "</r>";
    const auto work = [&] {
        struct reference {
            xml::buffer* const to;
            ~reference() { to->release(); }
        } const source{xml::buffer::create(text.data(), text.size())};
        xml::item item;
        item.loadTag(source.to, source.to->text());
        item.search("none");
        xml::root root("r");
        root = item;
        root = *root["a1"];
        item["x/y"]->setText("x");
        str_t out;
        item.saveF(out, 0);
        const str_t shared(out);
        out.addprintf("%s", "x").reverse();
        EXPECT_EQ(bin_t(shared.c_str(), shared.length()).reverse().length(), shared.length());
    };
    fail_everywhere(work, [] {});
}

TEST(OutOfMemory, TextsAndListsAreAsTheyWere) {
    const std::string many(5000, 'x');
    str_t text("text");
    fail_everywhere([&] { text.append(many.c_str(), many.size()); },
                    [&] { EXPECT_STREQ(text.c_str(), "text"); });
    fail_everywhere([&] { text = many.c_str() + 1; }, [&] { EXPECT_EQ(text.length(), 5004u); });

    xml::root root("r");
    root["a/b"]->setText("1");
    const auto saved = [&] {
        str_t out;
        root.save(out, 0);
        return std::string(out.c_str());
    };
    const auto check = [&] { EXPECT_EQ(saved(), "<r><a><b>1</b></a></r>"); };
    bool created;
    fail_everywhere([&] { root = *root["a"]; }, check);
    root = xml::root("r");
    root["a/b"]->setText("1");
    fail_everywhere([&] { root["a"]->children.set("b", "2", created); }, check);
    root["a/b"]->setText("1");
    fail_everywhere([&] { root["a"]->children.set("c", "2", created); }, check);
}

} // namespace
