// `probe` in the header has the rule, for one item; here it is applied to many at once.
#include <orv/xml/ordering.hpp>

#include <orv/xml/array.hpp>
#include <orv/xml/name.hpp>

#include <algorithm>
#include <numeric>
#include <vector>

namespace xml {

namespace {

const char* name_of(const item& of) { return or_empty(of.name); }

// Performs one `add` after another, for the items after the first `sorted` ones, which are in
// order, in a gap buffer: what has been inserted so far is at both ends of `out`, with the gap at
// the last insertion. Insertions near one another, such as those of equal names, move few other
// items. Returns false, with `out` unfinished, if they are neither near nor few.
bool insert_each(item* out, const item* items, unsigned long sorted, unsigned long count) {
    constexpr unsigned long few = 64;
    unsigned long moves_left = (count - sorted <= few ? few : 2) * count;
    move_items(out, items, sorted);
    unsigned long gap = sorted;           // where the gap begins
    unsigned long width = count - sorted; // items that remain to be inserted
    for (unsigned long i = sorted; i < count; ++i, --width) {
        const char* name = name_of(items[i]);
        const position found = probe(i, [&](unsigned long k) {
            const item* const half = k < gap ? out : out + width;
            return compare_names(name, name_of(half[k]));
        });
        const unsigned long at = found.behind();
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

// Counters and their prefix sums, each operation in O(log n): a complete binary tree above the
// counters, in which each node holds the sum of the counters in its left subtree. Node 1 is the
// root, and the children of node n are 2n and 2n + 1.
class prefix_sums {
public:
    // At least `count` counters, all equal to `each`.
    prefix_sums(unsigned count, unsigned each) {
        while (size_ < count)
            size_ *= 2;
        left_.resize(size_);
        for (unsigned long node = 1, below = size_ / 2; node < size_; below /= 2) {
            for (const unsigned long end = 2 * node; node < end; ++node)
                left_[node] = static_cast<unsigned>(below) * each;
        }
    }

    // Adds one to a counter.
    void add(unsigned long at) {
        for (unsigned long node = at + size_; node > 1; node /= 2)
            left_[node / 2] += node % 2 == 0 ? 1 : 0;
    }
    // The sum of the counters before `at`.
    unsigned long before(unsigned long at) const {
        unsigned long sum = 0;
        for (unsigned long node = at + size_; node > 1; node /= 2)
            sum += node % 2 != 0 ? left_[node / 2] : 0;
        return sum;
    }
    // Subtracts one from the first counter up to and including which the sum exceeds `sum`, and
    // returns its index. The way down is unpredictable, so no step branches.
    unsigned take(unsigned sum) {
        unsigned long node = 1;
        while (node < size_) {
            unsigned& left = left_[node];
            const unsigned to_right = left <= sum ? 1 : 0;
            sum -= left & (0 - to_right);
            left -= 1 - to_right;
            node = 2 * node + to_right;
        }
        return static_cast<unsigned>(node - size_);
    }

private:
    unsigned long size_ = 1;
    std::vector<unsigned> left_;
};

// A number for each item, the same for equal names, counting up from 0 in name order.
std::vector<unsigned> name_numbers(const item* items, unsigned count) {
    std::vector<unsigned> heads; // the first items of runs of equal names
    std::vector<unsigned> run(count);
    for (unsigned i = 0; i < count; ++i) {
        if (i == 0 || compare_names(name_of(items[i - 1]), name_of(items[i])) != 0)
            heads.push_back(i);
        run[i] = static_cast<unsigned>(heads.size() - 1);
    }
    const auto compare = [&](unsigned a, unsigned b) {
        return compare_names(name_of(items[heads[a]]), name_of(items[heads[b]]));
    };
    std::vector<unsigned> by_name(heads.size());
    std::iota(by_name.begin(), by_name.end(), 0u);
    std::sort(by_name.begin(), by_name.end(),
              [&](unsigned a, unsigned b) { return compare(a, b) < 0; });
    std::vector<unsigned> number(heads.size());
    for (unsigned long i = 1; i < heads.size(); ++i) {
        const bool is_new = compare(by_name[i - 1], by_name[i]) != 0;
        number[by_name[i]] = number[by_name[i - 1]] + (is_new ? 1 : 0);
    }
    for (unsigned& each : run)
        each = number[each];
    return run;
}

// The index at which each item would be inserted if all were added one after another. Which of
// several equal names the search would meet follows from how many items sort before them and how
// many are equal, so the search runs on numbers.
std::vector<unsigned> insertion_points(const item* items, unsigned count) {
    std::vector<unsigned> at = name_numbers(items, count);
    const unsigned names = *std::max_element(at.begin(), at.end()) + 1;
    prefix_sums present(names, 0);
    std::vector<unsigned> equal(names);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned name = at[i];
        const unsigned long first = present.before(name);
        const unsigned long end = first + equal[name];
        const position found = probe(i, [&](unsigned long k) {
            return k < first ? 1 : k < end ? 0 : -1;
        });
        at[i] = static_cast<unsigned>(found.behind());
        present.add(name);
        ++equal[name];
    }
    return at;
}

// The final index of each item: the last one is where it was inserted, the one before it where it
// was inserted counting only the places still free, and so on.
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

void order_as_added(item* out, const item* items, unsigned long count) {
    const unsigned long sorted = sorted_at_first(items, count);
    if (insert_each(out, items, sorted, count))
        return;
    const std::vector<unsigned> at = places(items, static_cast<unsigned>(count));
    for (unsigned long i = 0; i < count; ++i)
        move_items(out + at[i], items + i, 1);
}

} // namespace xml
