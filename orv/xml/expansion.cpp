#include <orv/xml/expansion.hpp>

#include <orv/xml/array.hpp>
#include <orv/xml/name.hpp>
#include <orv/xml/parser.hpp>
#include <orv/xml/probe.hpp>
#include <orv/xml/survey.hpp>

#include <algorithm>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace xml {

namespace {

// The NUL that ends the content of an element.
char* end_of_content(const item& element, survey& known) {
    const tag_index::element* const indexed = known.tags.find(element.name, element.value);
    return indexed && *indexed->end == 0 ? indexed->end
                                         : element.value + std::strlen(element.value);
}

} // namespace

void expand(item& element, survey& known) {
    constexpr unsigned long deep = 16; // enough levels to have been searched one by one
    char* const end = end_of_content(element, known);
    if (known.depth >= deep && !known.tags.covers(element.value, end))
        known.tags = tag_index(element.value, end);

    collector found(element.buffer);
    // The content goes also if memory runs out: cut up, it is none any more, and saved as such it
    // would spoil the document around it.
    char* at = std::exchange(element.value, nullptr);
    unsigned long references = 0;
    do {
        item& next = found.append();
        at = read_tag(next, at, end, known);
        if (!next.name) {
            found.drop_last();
            break;
        }
        references += 1 + next.attributes.count;
    } while (at && *at != 0);
    found.finish(element.children);
    if (element.buffer)
        element.buffer->refs.fetch_add(references, std::memory_order_relaxed);
}

collector::~collector() {
    while (count_ > 0)
        drop_last();
    if (room_ != few)
        free_items(items_);
}

item& collector::append() {
    if (count_ == room_)
        grow();
    item& next = items_[count_++];
    zero_items(&next, 1);
    next.buffer = source_;
    return next;
}

void collector::drop_last() {
    item& last = items_[--count_];
    last.buffer = nullptr; // no reference has been counted
    for (unsigned long i = 0; i < last.attributes.count; ++i)
        last.attributes.items[i].buffer = nullptr;
    last.~item();
}

void collector::grow() {
    item* larger = allocate_items(growth * room_);
    move_items(larger, items_, count_);
    if (room_ != few)
        free_items(items_);
    items_ = larger;
    room_ *= growth;
}

namespace {

const char* name_of(const item& of) { return or_empty(of.name); }

// One `add` after the other, in a gap buffer: what has been inserted so far stands at both ends of
// `out`, the gap at the place of the last insertion. Insertions near one another, as those of equal
// names are, move little else. Returns whether that was so; else `out` is not finished.
bool insert_each(item* out, const item* items, unsigned long sorted, unsigned long count) {
    unsigned long moves_left = 4 * count + 256;
    move_items(out, items, sorted);
    unsigned long gap = sorted;           // where the gap begins
    unsigned long width = count - sorted; // items that remain to be inserted
    for (unsigned long i = sorted; i < count; ++i, --width) {
        const char* name = name_of(items[i]);
        const unsigned long at =
            probe(i, [&](unsigned long k) {
                return compare_names(name, name_of(out[k < gap ? k : k + width]));
            }).behind();
        const unsigned long moves = at < gap ? gap - at : at - gap;
        if (moves > moves_left)
            return false;
        moves_left -= moves;
        if (at < gap)
            move_items(out + at + width, out + at, moves);
        else
            move_items(out + gap, out + gap + width, moves);
        move_items(out + at, items + i, 1);
        gap = at + 1;
    }
    return true;
}

// Sums over a prefix of counters, each step O(log n) (Fenwick, 1994).
class prefix_sums {
public:
    // At least `count` counters, all of them `each`.
    prefix_sums(unsigned count, unsigned each) {
        unsigned long size = 1;
        while (size <= count)
            size *= 2;
        tree_.resize(size);
        for (unsigned long i = 0; i < size; ++i)
            tree_[i] = static_cast<unsigned>(i & (~i + 1)) * each;
    }

    void add(unsigned long at, unsigned amount) {
        for (unsigned long i = at + 1; i < tree_.size(); i += i & (~i + 1))
            tree_[i] += amount;
    }
    // The sum of the counters before `at`.
    unsigned long before(unsigned long at) const {
        unsigned long sum = 0;
        for (unsigned long i = at; i > 0; i &= i - 1)
            sum += tree_[i];
        return sum;
    }
    // Takes one away from the first counter up to which the sum exceeds `sum`, and returns its
    // place. Which way each step goes is anybody's guess, so none is a branch.
    unsigned take(unsigned sum) {
        unsigned long at = 0;
        for (unsigned long step = tree_.size() / 2; step > 0; step /= 2) {
            unsigned& below = tree_[at + step];
            const unsigned behind = below <= sum ? ~0u : 0; // the place is behind those
            sum -= below & behind;
            at += step & (0 - static_cast<unsigned long>(behind & 1));
            below -= ~behind & 1;
        }
        return static_cast<unsigned>(at);
    }

private:
    std::vector<unsigned> tree_;
};

// The index at which each item would be inserted by one `add` after the other. Which of several
// equal names the search would meet follows from the number of items that sort before them alone,
// so the search is run on numbers.
std::vector<unsigned> insertion_points(const item* items, unsigned count) {
    std::vector<unsigned> heads; // the first items of runs of equal names
    std::vector<unsigned> group(count);
    for (unsigned i = 0; i < count; ++i) {
        if (i == 0 || compare_names(name_of(items[i - 1]), name_of(items[i])) != 0)
            heads.push_back(i);
        group[i] = static_cast<unsigned>(heads.size() - 1);
    }
    std::vector<unsigned> by_name(heads.size());
    std::iota(by_name.begin(), by_name.end(), 0u);
    std::sort(by_name.begin(), by_name.end(), [&](unsigned a, unsigned b) {
        return compare_names(name_of(items[heads[a]]), name_of(items[heads[b]])) < 0;
    });
    std::vector<unsigned> number(heads.size()); // equal for equal names, in name order
    unsigned groups = 0;
    for (unsigned long i = 1; i < heads.size(); ++i) {
        const char* before = name_of(items[heads[by_name[i - 1]]]);
        if (compare_names(before, name_of(items[heads[by_name[i]]])) != 0)
            ++groups;
        number[by_name[i]] = groups;
    }
    for (unsigned& each : group)
        each = number[each];

    prefix_sums present(groups + 1, 0);
    std::vector<unsigned> run(groups + 1, 0);
    std::vector<unsigned> at(count);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned long first = present.before(group[i]);
        const unsigned long end = first + run[group[i]];
        const position found = probe(i, [&](unsigned long k) {
            return k < first ? 1 : k < end ? 0 : -1;
        });
        at[i] = static_cast<unsigned>(found.behind());
        present.add(group[i], 1);
        ++run[group[i]];
    }
    return at;
}

// Where each item stands in the end. The last item inserted stands where it was put; the one before
// it at the place that is its own when that one is taken out; and so on.
std::vector<unsigned> places(const item* items, unsigned count) {
    std::vector<unsigned> at = insertion_points(items, count);
    prefix_sums free_places(count, 1);
    for (unsigned i = count; i-- > 0;)
        at[i] = free_places.take(at[i]);
    return at;
}

unsigned long sorted_at_first(const item* items, unsigned long count) {
    unsigned long sorted = 1;
    while (sorted < count && compare_names(name_of(items[sorted - 1]), name_of(items[sorted])) <= 0)
        ++sorted;
    return sorted;
}

} // namespace

void collector::finish(list& out) {
    if (count_ == 0)
        return;
    std::unique_ptr<item[], decltype(&free_items)> exact(allocate_items(count_), free_items);
    const unsigned long sorted = sorted_at_first(items_, count_);
    if (!insert_each(exact.get(), items_, sorted, count_)) {
        const std::vector<unsigned> at = places(items_, static_cast<unsigned>(count_));
        for (unsigned long i = 0; i < count_; ++i)
            move_items(exact.get() + at[i], items_ + i, 1);
    }
    out.items = exact.release();
    out.count = count_;
    count_ = 0;
}

} // namespace xml
