#include "expansion.hpp"

#include "array.hpp"
#include "name.hpp"
#include "parser.hpp"
#include "probe.hpp"

#include <algorithm>
#include <numeric>
#include <vector>

namespace xml {

void expand(item& element, plain_stretch& plain) {
    collector found;
    char* at = element.value;
    char* const end = at + std::strlen(at);
    do {
        item& next = found.append();
        at = load_tag(next, element.buffer, at, end, plain);
        if (!next.name) {
            found.drop_last();
            break;
        }
    } while (at && *at != 0);
    found.finish(element.children);
    element.value = nullptr;
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
    zero_items(items_ + count_, 1);
    return items_[count_++];
}

void collector::drop_last() { items_[--count_].~item(); }

void collector::grow() {
    item* larger = allocate_items(2 * room_);
    move_items(larger, items_, count_);
    if (room_ != few)
        free_items(items_);
    items_ = larger;
    room_ *= 2;
}

void collector::finish(list& out) {
    if (count_ == 0)
        return;
    arrange();
    item* exact = allocate_items(count_);
    move_items(exact, items_, count_);
    out.items = exact;
    out.count = count_;
    count_ = 0;
}

namespace {

const char* name_of(const item& of) { return or_empty(of.name); }

// One `add` after the other, in place: item i goes where the search among those before it says.
void insert_each(item* items, unsigned long sorted, unsigned long count) {
    for (unsigned long i = sorted; i < count; ++i) {
        const char* name = name_of(items[i]);
        const unsigned long at = probe(i, [&](unsigned long k) {
                                     return compare_names(name, name_of(items[k]));
                                 }).behind();
        if (at == i)
            continue;
        alignas(item) unsigned char moved[sizeof(item)];
        item* const spare = reinterpret_cast<item*>(moved);
        move_items(spare, items + i, 1);
        move_items(items + at + 1, items + at, i - at);
        move_items(items + at, spare, 1);
    }
}

// Sums over a prefix of counters, each step O(log n) (Fenwick, 1994).
class prefix_sums {
public:
    explicit prefix_sums(unsigned long count) : tree_(count + 1, 0) {}

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
    // The place of the first counter up to which the sum exceeds `sum`.
    unsigned long place_of(unsigned long sum) const {
        unsigned long step = 1;
        while (2 * step < tree_.size())
            step *= 2;
        unsigned long at = 0;
        for (; step > 0; step /= 2) {
            if (at + step < tree_.size() && tree_[at + step] <= sum) {
                at += step;
                sum -= tree_[at];
            }
        }
        return at;
    }

private:
    std::vector<unsigned> tree_;
};

// The index at which each item would be inserted by one `add` after the other. Which of several
// equal names the search would meet follows from the number of items that sort before them alone,
// so the search is run on numbers.
std::vector<unsigned> insertion_points(const item* items, unsigned count) {
    std::vector<unsigned> by_name(count);
    std::iota(by_name.begin(), by_name.end(), 0u);
    std::sort(by_name.begin(), by_name.end(), [&](unsigned a, unsigned b) {
        return compare_names(name_of(items[a]), name_of(items[b])) < 0;
    });
    std::vector<unsigned> group(count); // equal names, equal numbers, in name order
    unsigned groups = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (i > 0 && compare_names(name_of(items[by_name[i - 1]]), name_of(items[by_name[i]])) != 0)
            ++groups;
        group[by_name[i]] = groups;
    }

    prefix_sums present(groups + 1);
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

// The same as `insert_each` without moving items about. The last item inserted stands where it was
// put; the one before it at the place that is its own when that one is taken out; and so on.
void arrange_many(item* items, unsigned count) {
    const std::vector<unsigned> at = insertion_points(items, count);
    prefix_sums free_places(count);
    for (unsigned i = 0; i < count; ++i)
        free_places.add(i, 1);
    item* const ordered = allocate_items(count);
    for (unsigned i = count; i-- > 0;) {
        const unsigned long place = free_places.place_of(at[i]);
        free_places.add(place, ~0u); // one less
        move_items(ordered + place, items + i, 1);
    }
    move_items(items, ordered, count);
    free_items(ordered);
}

} // namespace

void collector::arrange() {
    unsigned long sorted = 1;
    while (sorted < count_ &&
           compare_names(name_of(items_[sorted - 1]), name_of(items_[sorted])) <= 0)
        ++sorted;
    constexpr unsigned long few_enough = 64; // to insert one by one
    if (sorted < count_ && count_ <= few_enough)
        insert_each(items_, sorted, count_);
    else if (sorted < count_)
        arrange_many(items_, static_cast<unsigned>(count_));
}

} // namespace xml
