// The arithmetic: schoolbook multiplication, and powers by squaring from the lowest bit of the
// exponent up. Division has a source file of its own.
//
// The work is done on plain arrays of limbs in scratch memory that is allocated before the first
// step; the result is then copied into a block.
#include <orv/bigint/ubigint.hpp>

#include <orv/bigint/division.hpp>
#include <orv/bigint/limbs.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

using bigint::limb_t;

namespace {

// Multiplies halves of limbs, so that a product has 32 bits: the products of one place are summed,
// with room for 2^32 of them, and carries are propagated at the end.
class multiplication {
public:
    // Writes a * b to `to`, which has room for a_count + b_count limbs, and returns how many are in
    // use: all, or one less if the top one is zero; none if a factor has none.
    unsigned long operator()(limb_t* to, const limb_t* a, unsigned long a_count, const limb_t* b,
                             unsigned long b_count) {
        if (a_count == 0 || b_count == 0)
            return 0;
        const unsigned long count = a_count + b_count;
        halves_.assign(1, 0);
        for (unsigned long j = 0; j < b_count; ++j)
            halves_.insert(halves_.end(), {b[j] & 0xffff, b[j] >> 16});
        halves_.push_back(0);
        sums_.assign(2 * count, 0);
        for (unsigned long i = 0; i < a_count; ++i)
            add_row(sums_.data() + 2 * i, a[i]);
        std::uint64_t carry = 0;
        for (unsigned long i = 0; i < count; ++i) {
            carry += sums_[2 * i];
            const limb_t low = carry & 0xffff;
            carry = (carry >> 16) + sums_[2 * i + 1];
            to[i] = static_cast<limb_t>(carry << 16) | low;
            carry >>= 16;
        }
        return to[count - 1] != 0 ? count : count - 1;
    }

private:
    // Adds the products with both halves of a limb; those with the high half go one place higher.
    void add_row(std::uint64_t* row, limb_t limb) {
        const limb_t low = limb & 0xffff;
        const limb_t high = limb >> 16;
        for (unsigned long j = 0; j + 1 < halves_.size(); ++j)
            row[j] += std::uint64_t{low * halves_[j + 1]} + high * halves_[j];
    }

    std::vector<limb_t> halves_; // with a zero at both ends
    std::vector<std::uint64_t> sums_;
};

bool is_below(const limb_t* a, const limb_t* b, unsigned long count) {
    for (unsigned long i = count; i-- > 0;)
        if (a[i] != b[i])
            return a[i] < b[i];
    return false;
}

// Subtracts in place and returns the final borrow.
limb_t subtract(limb_t* from, const limb_t* other, unsigned long count) {
    limb_t borrow = 0;
    for (unsigned long i = 0; i < count; ++i) {
        const std::uint64_t rest = static_cast<std::uint64_t>(from[i]) - other[i] - borrow;
        from[i] = static_cast<limb_t>(rest);
        borrow = static_cast<limb_t>(rest >> 63);
    }
    return borrow;
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
    // The factors and the modulus have at most `width` limbs.
    modular(const limb_t* modulus, unsigned long count, unsigned long width)
        : modulus_(modulus), count_(count), divider_(modulus, count), product_(2 * width) {
        // Division by a zero of several limbs would leave the products as they are, and they would
        // double in length with every bit; so any zero counts as one of no limbs.
        if (bigint::stripped(modulus, count) == 0)
            count_ = 0;
    }

    void multiply(working_number& to, const working_number& by) {
        limb_t* const result = product_.data();
        const unsigned long count = multiply_(result, to.limbs, to.count, by.limbs, by.count);
        if (count_ > 1) {
            divider_.divide(result, count, nullptr);
            to.count = bigint::stripped(result, count);
            to.size = to.count != 0 ? count : 0;
        } else {
            result[0] = remainder_by_limb(count);
            to.count = to.size = 1;
        }
        std::copy(result, result + to.count, to.limbs);
    }

private:
    // The remainder as `div2` gives it: the lowest limb alone if that is less than the divisor.
    limb_t remainder_by_limb(unsigned long count) {
        const limb_t divisor = count_ != 0 ? modulus_[0] : 0;
        const limb_t lowest = count != 0 ? product_[0] : 0;
        if (divisor == 0 || lowest < divisor)
            return lowest;
        return bigint::divide_by_limb(product_.data(), count, divisor);
    }

    const limb_t* modulus_;
    unsigned long count_;
    multiplication multiply_;
    bigint::divider divider_;
    std::vector<limb_t> product_;
};

} // namespace

void ubigint::sub(const ubigint& other) {
    const unsigned long other_count = other.count();
    // Limb counts are compared as they are, zero limbs at the top included, on purpose; the header
    // says so.
    if (count() < other_count ||
        (count() == other_count && !is_below(other.limbs(), limbs(), other_count)))
        return clear();

    limb_t* const to = room_for(0);
    bool borrow = ::subtract(to, other.limbs(), other_count) != 0;
    for (unsigned long i = other_count; borrow && i < count(); ++i)
        borrow = to[i]-- == 0;
    if (borrow)
        return clear(); // the extra limbs were all zero, and the other number was greater
    strip();
}

void ubigint::mul(const ubigint& other) {
    std::vector<limb_t> result(count() + other.count());
    const unsigned long used =
        multiplication()(result.data(), limbs(), count(), other.limbs(), other.count());
    install(result.data(), used, used);
}

void ubigint::div(const ubigint& divisor, ubigint& remainder) {
    const unsigned long used = count();
    std::vector<limb_t> scratch(2 * used);
    limb_t* const rest = scratch.data();
    limb_t* const quotient = rest + used;
    std::copy(limbs(), limbs() + used, rest);
    bigint::divider(divisor.limbs(), divisor.count()).divide(rest, used, quotient);

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

    // The lowest limb alone ends the loop, on purpose: limbs above a zero one are ignored.
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
