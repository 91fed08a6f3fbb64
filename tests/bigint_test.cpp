// Big integers: room and bytes, and random cases beside GMP.
#include "support/random.hpp"

#include <orv/bigint/ubigint.hpp>

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using limbs = std::vector<unsigned int>; // lowest first

// The rules on GMP's numbers follow. Where the lowest limb alone decides, that is intended.

mpz_class value_of(const ubigint& number) {
    mpz_class value;
    for (unsigned long i = number.count(); i-- > 0;)
        value = (value << 32) + number.limb(i);
    return value;
}

unsigned int low_limb(const mpz_class& value) {
    return static_cast<unsigned int>(mpz_class(value & 0xffffffff).get_ui());
}

// Division by one limb, which looks at the lowest limb first. Returns the remainder.
unsigned int divide_by_limb(mpz_class& value, unsigned int divisor) {
    const bool decided = divisor == 0 || low_limb(value) < divisor;
    const unsigned int rest = low_limb(decided ? value : mpz_class(value % divisor));
    value = decided ? mpz_class() : mpz_class(value / divisor);
    return rest;
}

// The power as it is defined: the exponent ends at a lowest limb of zero, and a modulus of one limb
// divides as above.
mpz_class power(mpz_class base, mpz_class exponent, const ubigint& modulus) {
    const mpz_class by = value_of(modulus);
    const auto reduced = [&](mpz_class product) -> mpz_class {
        if (modulus.count() > 1 && by != 0)
            return product % by;
        return divide_by_limb(product, low_limb(by));
    };
    mpz_class result = 1;
    for (; low_limb(exponent) != 0; exponent >>= 1) {
        if (mpz_odd_p(exponent.get_mpz_t()))
            result = reduced(result * base);
        base = reduced(base * base);
    }
    return result;
}

ubigint number(const limbs& from) {
    ubigint made;
    made.set(reinterpret_cast<const char*>(from.data()), from.size() * sizeof(unsigned int));
    return made;
}

// A value and the count of its limbs, which may be zero at the top.
using counted = std::pair<mpz_class, unsigned long>;

counted counted_of(const ubigint& from) { return {value_of(from), from.count()}; }

// In as few limbs as hold it, but in `least`.
counted stripped(const mpz_class& value, unsigned long least = 0) {
    const unsigned long bits = value == 0 ? 0 : mpz_sizeinbase(value.get_mpz_t(), 2);
    return {value, std::max((bits + 31) / 32, least)};
}

// Limbs in which carries and borrows run far: runs of zeros, of ones, and of anything.
limbs random_limbs(seeded_random& random, unsigned long count) {
    limbs result(count);
    unsigned int kind = 0;
    for (unsigned int& limb : result) {
        const unsigned int any = static_cast<unsigned int>(random.next());
        kind = random.below(3) == 0 ? any % 4 : kind;
        limb = kind == 0 ? 0 : kind == 1 ? ~0u : kind == 2 ? 1u << any / 4 % 32 : any;
    }
    return result;
}

TEST(Ubigint, Bytes) {
    ubigint n;
    n.set("\1\0\0\0\xfe", 5);
    EXPECT_TRUE(n.count() == 2 && n.limb(1) == 0xfe && n.limb(2) == 0 && n.size() == 2);
    EXPECT_EQ(n.toBinary(0), bin_t());
    EXPECT_EQ(n.toBinary(33), bin_t("\1\0\0\0\xfe", 5)); // whole bytes
    EXPECT_EQ(n.toBinary(88), bin_t("\1\0\0\0\xfe\0\0\0\0\0\0", 11));
    n.set("\1\0\0\0\0\0\0", 7);
    EXPECT_EQ(counted_of(n), counted(1, 2));
    n.set("", 0);
    EXPECT_EQ(n.toBinary(8), bin_t("\0", 1));
    n.set(nullptr, 4);
    EXPECT_EQ(n.count(), 0u);
}

TEST(Ubigint, RoomGrowsByExactlyTheLimbsNeeded) {
    ubigint n = number({0xffffffff, 0xffffffff});
    n.add(0xffffffff);
    EXPECT_EQ(n.size(), 3u);
    // Limbs that were stripped are room, in a private copy too, and are used again.
    (n = number({3, 0, 1})).sub(number({4}));
    const ubigint copy(n); // shares them
    n.add(1);
    EXPECT_EQ(counted_of(n), counted(mpz_class(1) << 64, 3));
    EXPECT_EQ(n.size(), 3u);
}

TEST(Ubigint, OperationsBesideGmp) {
    seeded_random random;
    // Mostly short, sometimes up to 4096 bits; with zero limbs at the top now and then.
    const auto any = [&] { return random_limbs(random, random.below(random.below(5) ? 10 : 129)); };
    for (int round = 0; round < 1500; ++round) {
        const limbs a_limbs = any();
        limbs b_limbs = random.below(3) ? any() : a_limbs;
        if (!b_limbs.empty() && random.below(4)) // or different in one limb only
            b_limbs[random.below(b_limbs.size())] += static_cast<unsigned int>(random.below(3)) - 1;
        const unsigned int small = static_cast<unsigned int>(random.next() >> random.below(64));
        ubigint a = number(a_limbs);
        const ubigint b = number(b_limbs);
        if (random.below(4) == 0) { // or next to a multiple
            a.mul(b);
            a.add(static_cast<unsigned int>(random.below(3)));
        }
        const mpz_class whole_a = value_of(a), whole_b = value_of(b);
        const counted kept = counted_of(a);
        const bool none = a.count() == 0 || b.count() == 0;
        SCOPED_TRACE(whole_a.get_str(16) + ' ' + whole_b.get_str(16) + ' ' + std::to_string(small));

        ubigint n(a), remainder(b);
        n.add(small);
        ASSERT_EQ(counted_of(n), stripped(whole_a + small, std::max(a.count(), 1ul)));
        (n = a).sub(b);
        const bool greater = a.count() >= b.count() && whole_a > whole_b;
        ASSERT_EQ(counted_of(n), stripped(greater ? mpz_class(whole_a - whole_b) : mpz_class()));
        (n = a).mul(b);
        ASSERT_EQ(counted_of(n), stripped(whole_a * whole_b, none ? 0 : a.count() + b.count() - 1));
        (n = a).mul(n);
        ASSERT_EQ(value_of(n), whole_a * whole_a);

        const mpz_class quotient = whole_b == 0 ? mpz_class() : mpz_class(whole_a / whole_b);
        (n = a).div(remainder, remainder); // the divisor is read before it is replaced
        ASSERT_EQ(counted_of(n), stripped(quotient));
        ASSERT_EQ(counted_of(remainder), stripped(whole_a - quotient * whole_b));
        ASSERT_EQ(remainder.size(), remainder.count() != 0 ? a.size() : 0);
        (n = a).div(b, n); // ends as the quotient
        ASSERT_EQ(counted_of(n), stripped(quotient));
        mpz_class divided = whole_a;
        unsigned int small_rest = 0;
        (n = a).div2(small, small_rest);
        ASSERT_EQ(small_rest, divide_by_limb(divided, small));
        ASSERT_EQ(counted_of(n), stripped(divided));

        std::string digits;
        for (mpz_class left = whole_a; low_limb(left) != 0;)
            digits.insert(0, 1, static_cast<char>('0' + divide_by_limb(left, 10)));
        ASSERT_EQ(a.toString().c_str(), digits);
        ASSERT_TRUE(counted_of(a) == kept && value_of(b) == whole_b); // though they were shared
    }
}

TEST(Ubigint, PowersByTheRules) {
    seeded_random random;
    for (int round = 0; round < 1500; ++round) {
        const unsigned long most = round % 100 == 0 ? 40 : 7; // of key sizes now and then
        const ubigint base = number(random_limbs(random, random.below(most)));
        const ubigint exponent = number(random_limbs(random, random.below(4)));
        const ubigint modulus = number(random_limbs(random, random.below(most)));
        const mpz_class by = value_of(modulus);
        const bool is_stripped = modulus.count() > 1 && by != 0 && exponent.limb(0) != 0;
        ASSERT_EQ(counted_of(ubigint::modexp2(base, exponent, modulus)),
                  stripped(power(value_of(base), value_of(exponent), modulus), is_stripped ? 0 : 1))
            << value_of(base) << ' ' << value_of(exponent) << ' ' << by;
    }
}

} // namespace
