// Long division: for s from the greatest possible value down to 0, the divisor shifted left by s
// bits is subtracted from the remainder unless it is greater, and each s for which it was
// subtracted gives a bit of the quotient.
//
// This is done for 64 bits of the quotient at a time. While s changes only within a word, the
// shifted divisor covers one window of the remainder, a word longer than the divisor:
//
//     remainder          0 0 r r r r r r r
//     shifted divisor    0 0 d d d d d 0 0
//     window                 ^^^^^^^^^     the two words at the top decide, the others follow
//
// The two words at the top nearly always decide alone whether the shifted divisor is greater than
// the remainder. So it is subtracted there at once, and from the words below together with all
// others of that window; each of these borrows at most 1. Only if the words at the top differ by no
// more than these borrows are those below brought up to date first, and compared as well.
//
// Both numbers are shifted so that the top bit of the divisor is the top bit of a word: then the
// words at the top have at least 64 bits to decide by. The divisor shifted by 0 to 63 bits is the
// same in every window, and in every division by it.
#include <orv/bigint/division.hpp>

#include <algorithm>
#include <cstring>

namespace bigint {

namespace {

using word = std::uint64_t; // two limbs, the lower one first in memory, too

// The upper of two words that are shifted left by 0 to 63 bits.
word shifted_left(word upper, word lower, unsigned bits) {
    return upper << bits | lower >> 1 >> (63 - bits);
}

void shift_left(std::vector<word>& number, unsigned bits) {
    for (unsigned long i = number.size(); i-- > 1;)
        number[i] = shifted_left(number[i], number[i - 1], bits);
    number[0] <<= bits;
}

void shift_right(std::vector<word>& number, unsigned bits) {
    for (unsigned long i = 0; i + 1 < number.size(); ++i)
        number[i] = number[i] >> bits | number[i + 1] << 1 << (63 - bits);
    number.back() >>= bits;
}

// Copies the limbs, and adds at least one word more than they fill.
void load(std::vector<word>& to, const limb_t* limbs, unsigned long count) {
    to.assign(count / 2 + 2, 0);
    std::memcpy(to.data(), limbs, count * sizeof(limb_t));
}

} // namespace

divider::divider(const limb_t* divisor, unsigned long count) {
    count = stripped(divisor, count);
    words_ = (count + 1) / 2;
    if (words_ == 0)
        return;
    load(divisor_, divisor, count);
    normal_ = static_cast<unsigned>(__builtin_clzl(divisor_[words_ - 1]));
    shift_left(divisor_, normal_);
    const word first = divisor_[words_ - 1], second = words_ > 1 ? divisor_[words_ - 2] : 0;
    for (unsigned bits = 0; bits < 64; ++bits)
        top_[bits] = static_cast<two_words>(shifted_left(0, first, bits)) << 64 |
                     shifted_left(first, second, bits);
}

void divider::divide(limb_t* number, unsigned long count, limb_t* quotient) {
    if (quotient)
        std::fill(quotient, quotient + count, 0);
    const unsigned long used = stripped(number, count);
    if (words_ == 0 || (used + 1) / 2 < words_)
        return;
    load(rest_, number, used);
    shift_left(rest_, normal_);
    for (unsigned long at = rest_.size() - words_; at-- > 0;) {
        const word bits = quotient_word(rest_.data() + at);
        for (unsigned long i = 2 * at; quotient && i < std::min(2 * at + 2, count); ++i)
            quotient[i] = static_cast<limb_t>(bits >> i % 2 * 32);
    }
    shift_right(rest_, normal_);
    std::memcpy(number, rest_.data(), used * sizeof(limb_t));
}

// Divides the content of a window, which is less than the divisor shifted by 64 bits.
word divider::quotient_word(word* window) {
    word* const top_words = window + words_ - 1;
    two_words top = static_cast<two_words>(top_words[1]) << 64 | top_words[0];
    if (top < top_[0])
        return 0;
    word quotient = 0;
    shift_list pending; // subtracted at the top, but not yet below
    for (unsigned shift = 64; shift-- > 0;) {
        const two_words divisor = top_[shift];
        word fits = top >= divisor;
        if (__builtin_expect(top - divisor <= pending.count, 0)) { // a borrow could change it
            top -= subtract_below(window, pending);
            pending.count = 0;
            fits = top > divisor || (top == divisor && fits_below(window, shift));
        }
        // Branchless, as it is unpredictable: the compiler must not know that this is 0 or 1.
        __asm__("" : "+r"(fits));
        top -= divisor & (two_words{0} - fits);
        quotient = quotient << 1 | fits;
        pending.bits[pending.count] = shift;
        pending.count += static_cast<unsigned>(fits);
    }
    top -= subtract_below(window, pending);
    top_words[0] = static_cast<word>(top);
    top_words[1] = static_cast<word>(top >> 64);
    return quotient;
}

// For a divisor that equals the remainder in the words at the top.
bool divider::fits_below(const word* window, unsigned shift) {
    const word* const divisor = shifted_below(shift);
    for (unsigned long i = words_ - 1; i-- > 0;)
        if (window[i] != divisor[i])
            return window[i] > divisor[i];
    return true;
}

// Returns the borrow.
[[gnu::noinline]] word divider::subtract_below(word* window, const shift_list& shifts) {
    const word* subtracted[64];
    for (unsigned k = 0; k < shifts.count; ++k)
        subtracted[k] = shifted_below(shifts.bits[k]);
    word borrow = 0;
    for (unsigned long i = 0; i + 1 < words_; ++i) {
        word rest = window[i] - borrow;
        borrow = window[i] < borrow;
        for (unsigned k = 0; k < shifts.count; ++k) {
            const word other = subtracted[k][i];
            borrow += rest < other;
            rest -= other;
        }
        window[i] = rest;
    }
    return borrow;
}

const divider::word* divider::shifted_below(unsigned shift) {
    if (below_[shift].empty())
        make_below(shift);
    return below_[shift].data();
}

void divider::make_below(unsigned shift) {
    below_[shift].reserve(words_);
    word lower = 0;
    for (unsigned long i = 0; i + 1 < words_; lower = divisor_[i++])
        below_[shift].push_back(shifted_left(divisor_[i], lower, shift));
}

} // namespace bigint
