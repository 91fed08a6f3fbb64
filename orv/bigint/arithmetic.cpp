// The arithmetic: schoolbook multiplication, long division bit by bit, and powers by squaring from
// the lowest bit of the exponent up.
//
// The work is done on plain arrays of limbs in scratch memory that is sized before the first step;
// what comes out is then put into a block.
//
// Division subtracts the divisor shifted left by s bits wherever it is not above the remainder, for
// s from the greatest that can be down to 0. Of the shifted divisor only a window of n + 1 limbs
// can differ from zero, n being the limbs of the divisor, and no bit of the remainder is left above
// that window:
//
//     remainder          0 0 0 r r r r r r r
//     shifted divisor    0 0 0 d d d d 0 0 0        window at limb s / 32
//
// So each step compares, subtracts and halves the limbs of the window and no others.
#include <orv/bigint/ubigint.hpp>

#include <orv/bigint/limbs.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

using bigint::limb_t;

namespace {

// The product of two limbs, made of the four products of their halves.
inline std::uint64_t product(limb_t a, limb_t b) {
    const limb_t a_low = a & 0xffff, a_high = a >> 16;
    const limb_t b_low = b & 0xffff, b_high = b >> 16;
    const limb_t crossed = a_low * b_high;
    limb_t middle = a_high * b_low;
    limb_t high = a_high * b_high;
    limb_t low = a_low * b_low;

    middle += crossed;
    if (middle < crossed)
        high += 0x10000;
    low += middle << 16;
    if (low < middle << 16)
        ++high;
    high += middle >> 16;
    return static_cast<std::uint64_t>(high) << 32 | low;
}

// Puts a * b in `to`, which has room for a_count + b_count limbs, and returns the limbs in use: one
// for each pair that meets there, and one more if a carry is left.
unsigned long multiply(limb_t* to, const limb_t* a, unsigned long a_count, const limb_t* b,
                       unsigned long b_count) {
    if (a_count == 0 || b_count == 0)
        return 0;
    std::memset(to, 0, (a_count + b_count) * sizeof(limb_t));
    for (unsigned long i = 0; i < a_count; ++i) {
        const limb_t factor = a[i];
        limb_t* const row = to + i;
        limb_t carry = 0;
        for (unsigned long j = 0; j < b_count; ++j) {
            const std::uint64_t sum = product(factor, b[j]) + row[j] + carry;
            row[j] = static_cast<limb_t>(sum);
            carry = static_cast<limb_t>(sum >> 32);
        }
        row[b_count] = carry; // nothing has come this far yet
    }
    const unsigned long pairs = a_count + b_count - 1;
    return to[pairs] != 0 ? pairs + 1 : pairs;
}

bool is_below(const limb_t* a, const limb_t* b, unsigned long count) {
    for (unsigned long i = count; i-- > 0;)
        if (a[i] != b[i])
            return a[i] < b[i];
    return false;
}

// Subtracts in place and returns the borrow that is left.
limb_t subtract(limb_t* from, const limb_t* other, unsigned long count) {
    limb_t borrow = 0;
    for (unsigned long i = 0; i < count; ++i) {
        const std::uint64_t rest = static_cast<std::uint64_t>(from[i]) - other[i] - borrow;
        from[i] = static_cast<limb_t>(rest);
        borrow = static_cast<limb_t>(rest >> 63);
    }
    return borrow;
}

unsigned long bit_length(const limb_t* limbs, unsigned long count) {
    count = bigint::stripped(limbs, count);
    if (count == 0)
        return 0;
    return 32 * count - static_cast<unsigned long>(__builtin_clz(limbs[count - 1]));
}

// Divides in place: what stands in `remainder` becomes the remainder, and the bits of the quotient
// are added to `quotient`, unless that is null. `remainder` and `shifted` have room for one limb
// more than `count`. Nothing happens if the divisor is zero.
void divide(limb_t* remainder, unsigned long count, const limb_t* divisor,
            unsigned long divisor_count, limb_t* shifted, limb_t* quotient) {
    divisor_count = bigint::stripped(divisor, divisor_count);
    const unsigned long bits = bit_length(remainder, count);
    const unsigned long divisor_bits = bit_length(divisor, divisor_count);
    if (divisor_bits == 0 || bits < divisor_bits)
        return;

    // All the doublings at once.
    unsigned long shift = bits - divisor_bits;
    std::memset(shifted, 0, (count + 1) * sizeof(limb_t));
    for (unsigned long i = 0; i < divisor_count; ++i) {
        const std::uint64_t moved = static_cast<std::uint64_t>(divisor[i]) << shift % 32;
        limb_t* const at = shifted + shift / 32 + i;
        at[0] |= static_cast<limb_t>(moved);
        at[1] = static_cast<limb_t>(moved >> 32);
    }

    remainder[count] = 0;
    const unsigned long window = divisor_count + 1;
    for (;;) {
        const unsigned long lowest = shift / 32;
        if (!is_below(remainder + lowest, shifted + lowest, window)) {
            subtract(remainder + lowest, shifted + lowest, window);
            if (quotient)
                quotient[lowest] |= 1u << shift % 32;
        }
        if (shift == 0)
            return;
        --shift;
        bigint::halve(shifted + shift / 32, window);
    }
}

// A number in scratch memory, with the size of the block that it would have.
struct working_number {
    limb_t* limbs;
    unsigned long count;
    unsigned long size;
};

// Multiplication modulo a number, with the memory for all products of an exponentiation.
class modular {
public:
    // The factors have up to `width` limbs, as has the modulus.
    modular(const limb_t* modulus, unsigned long count, unsigned long width)
        : modulus_(modulus), count_(count), product_(2 * width + 1), shifted_(2 * width + 1) {
        // Division by a zero of several limbs would leave the products as they are, and these
        // would double in length with every bit; any zero counts as that of no limbs.
        if (bigint::stripped(modulus, count) == 0)
            count_ = 0;
    }

    void multiply(working_number& to, const working_number& by) {
        limb_t* const result = product_.data();
        const unsigned long count = ::multiply(result, to.limbs, to.count, by.limbs, by.count);
        if (count_ > 1) {
            divide(result, count, modulus_, count_, shifted_.data(), nullptr);
            to.count = bigint::stripped(result, count);
            to.size = to.count != 0 ? count : 0;
        } else {
            result[0] = remainder_by_limb(count);
            to.count = to.size = 1;
        }
        std::copy(result, result + to.count, to.limbs);
    }

private:
    // The remainder that `div2` gives, which goes by the lowest limb alone if that is less.
    limb_t remainder_by_limb(unsigned long count) {
        const limb_t divisor = count_ != 0 ? modulus_[0] : 0;
        const limb_t lowest = count != 0 ? product_[0] : 0;
        if (divisor == 0 || lowest < divisor)
            return lowest;
        return bigint::divide_by_limb(product_.data(), count, divisor);
    }

    const limb_t* modulus_;
    unsigned long count_;
    std::vector<limb_t> product_;
    std::vector<limb_t> shifted_;
};

} // namespace

void ubigint::sub(const ubigint& other) {
    const unsigned long other_count = other.count();
    // Limb counts are compared as they stand, zero limbs at the top included; this is intended.
    if (count() < other_count ||
        (count() == other_count && !is_below(other.limbs(), limbs(), other_count)))
        return clear();

    limb_t* const to = room_for(0);
    bool borrow = ::subtract(to, other.limbs(), other_count) != 0;
    for (unsigned long i = other_count; borrow && i < count(); ++i)
        borrow = to[i]-- == 0;
    if (borrow)
        return clear(); // the higher count was all zeros, and the other number the greater one
    strip();
}

void ubigint::mul(const ubigint& other) {
    std::vector<limb_t> result(count() + other.count());
    const unsigned long used =
        ::multiply(result.data(), limbs(), count(), other.limbs(), other.count());
    install(result.data(), used, used);
}

void ubigint::div(const ubigint& divisor, ubigint& remainder) {
    const unsigned long used = count();
    std::vector<limb_t> scratch(3 * used + 2);
    limb_t* const rest = scratch.data();
    limb_t* const shifted = rest + used + 1;
    limb_t* const quotient = shifted + used + 1;
    std::copy(limbs(), limbs() + used, rest);
    divide(rest, used, divisor.limbs(), divisor.count(), shifted, quotient);

    const unsigned long rest_used = bigint::stripped(rest, used);
    const unsigned long quotient_used = bigint::stripped(quotient, used);
    remainder.install(rest, rest_used, rest_used != 0 ? size() : 0);
    install(quotient, quotient_used, quotient_used);
}

ubigint ubigint::modexp2(const ubigint& base, const ubigint& exponent, const ubigint& modulus) {
    const unsigned long width = std::max({base.count(), modulus.count(), 1ul});
    modular ring(modulus.limbs(), modulus.count(), width);

    std::vector<limb_t> scratch(2 * width + exponent.count());
    working_number result{scratch.data(), 1, 1};
    working_number square{result.limbs + width, base.count(), base.size()};
    limb_t* const bits = square.limbs + width;
    unsigned long bits_count = exponent.count();
    result.limbs[0] = 1;
    std::copy(base.limbs(), base.limbs() + base.count(), square.limbs);
    std::copy(exponent.limbs(), exponent.limbs() + bits_count, bits);

    // The lowest limb alone ends the loop, on purpose: what stands above a zero one is ignored.
    while (bits_count > 0 && bits[0] != 0) {
        if (bits[0] & 1)
            ring.multiply(result, square);
        ring.multiply(square, square);
        bigint::halve(bits, bits_count);
        bits_count = bigint::stripped(bits, bits_count);
    }

    ubigint power;
    power.install(result.limbs, result.count, result.size);
    return power;
}
