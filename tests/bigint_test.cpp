// Big integers: the rules in tables, and random cases beside GMP and OpenSSL.
#include "support/random.hpp"
#include "support/ubigint_reference.hpp"

#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using reference::value_of;
using limbs = std::vector<unsigned int>; // lowest first, zero limbs at the top included

ubigint number(const limbs& from) {
    ubigint made;
    made.set(reinterpret_cast<const char*>(from.data()), from.size() * sizeof(unsigned int));
    return made;
}

limbs limbs_of(const ubigint& from) {
    limbs result;
    for (unsigned long i = 0; i < from.count(); ++i)
        result.push_back(from.limb(i));
    return result;
}

// The limbs of `from` without zero limbs at the top, but at least `least`.
limbs limbs_of(const mpz_class& from, unsigned long least = 0) {
    limbs result(mpz_sizeinbase(from.get_mpz_t(), 2) / 32 + 1);
    size_t count = 0;
    mpz_export(result.data(), &count, -1, sizeof(unsigned int), 0, 0, from.get_mpz_t());
    result.resize(std::max(count, least));
    return result;
}

// Limbs in which carries and borrows run far: runs of zeros, of ones, and of anything.
limbs random_limbs(seeded_random& random, unsigned long count) {
    limbs result;
    unsigned long kind = 0;
    for (unsigned long i = 0; i < count; ++i) {
        if (i == 0 || random.below(3) == 0)
            kind = random.below(4);
        const unsigned int any = static_cast<unsigned int>(random.next());
        const unsigned int kinds[] = {0, ~0u, 1u << any % 32, any};
        result.push_back(kinds[kind]);
    }
    return result;
}

TEST(Ubigint, Bytes) {
    const struct {
        std::string bytes;
        limbs expected;
    } sets[] = {
        {std::string("\1\0\0\0\5", 5), {1, 5}},
        {"\xff\xfe", {0xfeff}},
        {std::string("\1\0\0\0\0\0\0", 7), {1, 0}}, // zero limbs at the top stay
        {"", {}},
    };
    ubigint n;
    for (const auto& row : sets) {
        n.set(row.bytes.data(), row.bytes.size());
        EXPECT_EQ(limbs_of(n), row.expected);
        EXPECT_EQ(n.size(), row.expected.size());
        EXPECT_EQ(n.limb(row.expected.size()), 0u);
    }
    (n = number({1})).set(nullptr, 4);
    EXPECT_EQ(n.count(), 0u);

    const struct {
        limbs from;
        unsigned long bits;
        std::string bytes;
    } gets[] = {
        {{0x12345678}, 0, ""},
        {{0x12345678}, 12, "\x78\x56"}, // whole bytes
        {{0x12345678}, 48, std::string("\x78\x56\x34\x12\0\0", 6)},
        {{1, 0x0908}, 41, std::string("\1\0\0\0\x08\x09", 6)},
    };
    for (const auto& row : gets)
        EXPECT_EQ(number(row.from).toBinary(row.bits), bin_t(row.bytes.data(), row.bytes.size()));
}

TEST(Ubigint, Decimal) {
    const struct {
        limbs from;
        const char* text;
    } rows[] = {
        {{0, 0}, ""}, // zero is empty text
        {{10}, "10"},
        {{0xffffffff}, "4294967295"},
        {{0, 1}, ""}, // a zero lowest limb ends the text
        {{9, 1}, "9"},
        {{10, 1}, "4294967306"},
        {{~0u, ~0u, ~0u, ~0u}, "340282366920938463463374607431768211455"},
    };
    for (const auto& row : rows)
        EXPECT_STREQ(number(row.from).toString().c_str(), row.text);
}

TEST(Ubigint, RoomGrowsByExactlyTheLimbsNeeded) {
    ubigint n = number({0xffffffff, 0xffffffff});
    n.add(0xffffffff);
    EXPECT_EQ(n.size(), 3u);
    // Limbs that were stripped are room, in a private copy too, and are used again.
    (n = number({3, 0, 1})).sub(number({4}));
    const ubigint copy(n);
    ubigint less(n);
    less.sub(number({1}));
    EXPECT_EQ(less.size(), 3u);
    n.add(1);
    EXPECT_EQ(limbs_of(n), (limbs{0, 0, 1}));
    EXPECT_EQ(n.size(), 3u);
    EXPECT_EQ(limbs_of(copy), (limbs{0xffffffff, 0xffffffff}));
}

TEST(Ubigint, OddCasesOfTheOperations) {
    const struct {
        char operation;
        limbs a, b, result, remainder;
    } rows[] = {
        {'+', {}, {0}, {0}, {}},
        {'+', {0xffffffff, 5, 0}, {1}, {0, 6, 0}, {}}, // zero limbs at the top stay
        {'-', {5}, {7}, {}, {}},
        {'-', {5}, {3, 0}, {}, {}},  // fewer limbs count as less, whatever they are
        {'-', {5, 0}, {3}, {2}, {}}, // more limbs count as more,
        {'-', {3, 0}, {5}, {}, {}},  // but the result never falls below zero
        {'*', {}, {5}, {}, {}},
        {'*', {0}, {5}, {0}, {}}, // every limb that pairs meet in is in use
        {'*', {3, 0}, {5, 0, 0}, {15, 0, 0, 0}, {}},
        {'/', {100, 0, 0}, {7, 0, 0, 0}, {14}, {2}}, // zero limbs at the top
        {'/', {5, 6, 0}, {}, {}, {5, 6}},            // by zero
        {'/', {5, 6}, {0, 0}, {}, {5, 6}},
        {'2', {7}, {0}, {}, {7}},
        {'2', {5, 1}, {10}, {}, {5}}, // the lowest limb alone is looked at
        {'2', {0, 1}, {1}, {}, {0}},
        {'2', {10, 0, 0}, {10}, {1}, {0}},
    };
    for (const auto& row : rows) {
        ubigint n = number(row.a), remainder;
        unsigned int small = 0;
        if (row.operation == '+')
            n.add(row.b[0]);
        if (row.operation == '-')
            n.sub(number(row.b));
        if (row.operation == '*')
            n.mul(number(row.b));
        if (row.operation == '/')
            n.div(number(row.b), remainder);
        if (row.operation == '2') {
            n.div2(row.b[0], small);
            remainder = number({small});
        }
        const long index = &row - rows;
        EXPECT_EQ(limbs_of(n), row.result) << index;
        EXPECT_EQ(limbs_of(remainder), row.remainder) << index;
    }
}

TEST(Ubigint, OperationsBesideGmp) {
    seeded_random random;
    // Mostly short, sometimes up to 4096 bits; with zero limbs at the top now and then.
    const auto any = [&] { return random_limbs(random, random.below(random.below(5) ? 10 : 129)); };
    for (int round = 0; round < 5000; ++round) {
        const limbs a_limbs = any();
        limbs b_limbs = random.below(3) ? any() : a_limbs;
        if (!b_limbs.empty() && random.below(4)) // or different in one limb only
            b_limbs[random.below(b_limbs.size())] += static_cast<unsigned int>(random.below(3)) - 1;
        const unsigned int small = static_cast<unsigned int>(random.next() >> random.below(64));
        const ubigint a = number(a_limbs), b = number(b_limbs);
        const mpz_class whole_a = value_of(a), whole_b = value_of(b);
        const bool none = a.count() == 0 || b.count() == 0;

        ubigint n(a), remainder(b);
        n.add(small);
        ASSERT_EQ(limbs_of(n), limbs_of(mpz_class(whole_a + small), std::max(a.count(), 1ul)));
        (n = a).sub(b);
        const bool greater = a.count() >= b.count() && whole_a > whole_b;
        ASSERT_EQ(limbs_of(n), limbs_of(greater ? mpz_class(whole_a - whole_b) : mpz_class()));
        (n = a).mul(b);
        ASSERT_EQ(limbs_of(n),
                  limbs_of(mpz_class(whole_a * whole_b), none ? 0 : a.count() + b.count() - 1));
        (n = a).mul(n);
        ASSERT_EQ(value_of(n), whole_a * whole_a);

        mpz_class rest = whole_a, divided = whole_a;
        const mpz_class quotient = reference::divide(rest, whole_b);
        (n = a).div(remainder, remainder); // the divisor is read before it is replaced
        ASSERT_EQ(limbs_of(n), limbs_of(quotient));
        ASSERT_EQ(limbs_of(remainder), limbs_of(rest));
        (n = a).div(b, n); // ends as the quotient
        ASSERT_EQ(limbs_of(n), limbs_of(quotient));
        unsigned int small_rest = 0;
        (n = a).div2(small, small_rest);
        ASSERT_EQ(small_rest, reference::divide_by_limb(divided, small));
        ASSERT_EQ(limbs_of(n), limbs_of(divided));

        ASSERT_EQ(a.toString().c_str(), reference::decimal(whole_a));
        const bin_t bytes = a.toBinary(32 * a.count());
        n.set(bytes.data(), bytes.length());
        ASSERT_EQ(limbs_of(n), a_limbs);
        ASSERT_EQ(limbs_of(a), a_limbs); // though it shared its limbs
        ASSERT_EQ(limbs_of(b), b_limbs);
    }
}

TEST(Ubigint, PowersByTheRules) {
    const struct {
        limbs base, exponent, modulus, expected;
    } rows[] = {
        {{4}, {13}, {497}, {445}},
        {{7, 8}, {}, {5}, {1}},               // exponent zero: 1 whatever the modulus
        {{7}, {0, 1}, {5, 6}, {1}},           // a zero lowest limb ends it at once
        {{7}, {1, 0x100}, {15, 1}, {7}},      // and later on, where 32 zero bits are next,
        {{7}, {3, 4}, {15, 1}, {343}},        // on no limb boundary
        {{7}, {3, 2}, {15, 1}, {0xd89cdd27}}, // but not 31
        {{}, {5}, {9}, {0}},                  // one limb, though zero
        {{}, {5}, {9, 9}, {}},
        {{5, 1}, {1}, {7}, {5}},             // one limb: the lowest limb alone is less
        {{8, 1}, {1}, {7}, {5}},             // and here the whole is divided
        {{5, 1}, {1}, {7, 0}, {2}},          // two limbs in use, though the upper is zero
        {{0x10000}, {2}, {0xffffffff}, {0}}, // 2^32 has the lowest limb 0
        {{3, 9}, {3}, {}, {27}},             // by zero: the lowest limb
        {{3, 9}, {0xffffffff}, {0, 0, 0}, {0xaaaaaaab}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(
            limbs_of(ubigint::modexp2(number(row.base), number(row.exponent), number(row.modulus))),
            row.expected);

    seeded_random random;
    for (int round = 0; round < 5000; ++round) {
        const ubigint base = number(random_limbs(random, random.below(6)));
        const ubigint exponent = number(random_limbs(random, random.below(4)));
        const ubigint modulus = number(random_limbs(random, random.below(4)));
        const mpz_class expected = reference::power(value_of(base), value_of(exponent), modulus);
        const bool stripped =
            modulus.count() > 1 && value_of(modulus) != 0 && exponent.limb(0) != 0;
        ASSERT_EQ(limbs_of(ubigint::modexp2(base, exponent, modulus)),
                  limbs_of(expected, stripped ? 0 : 1));
    }
}

TEST(Ubigint, PowersBesideOpenssl) {
    seeded_random random;
    using bignum = std::unique_ptr<BIGNUM, void (*)(BIGNUM*)>;
    const std::unique_ptr<BN_CTX, void (*)(BN_CTX*)> context(BN_CTX_new(), BN_CTX_free);
    const auto big = [](const limbs& from) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(from.data());
        return bignum(BN_lebin2bn(bytes, static_cast<int>(4 * from.size()), nullptr), BN_free);
    };
    const auto full = [&](unsigned long count) { // of the full length, and odd
        limbs result(count);
        for (unsigned int& limb : result)
            limb = static_cast<unsigned int>(random.next()) | 0x80000001;
        return result;
    };
    std::vector<std::vector<unsigned long>> sizes = {
        {64, 64, 64}, {128, 3, 128}, {32, 32, 33}, {40, 8, 16}};
    while (sizes.size() < 1000)
        sizes.push_back({random.below(9), 1 + random.below(5), 2 + random.below(7)});
    for (const auto& size : sizes) {
        const limbs base = full(size[0]), exponent = full(size[1]), modulus = full(size[2]);
        const bignum expected = big({});
        BN_mod_exp(expected.get(), big(base).get(), big(exponent).get(), big(modulus).get(),
                   context.get());
        const ubigint result = ubigint::modexp2(number(base), number(exponent), number(modulus));
        ASSERT_EQ(BN_cmp(big(limbs_of(result)).get(), expected.get()), 0);
    }
}

// Copies that share their limbs belong to two threads, each of which writes its own.
TEST(Ubigint, CopiesInTwoThreads) {
    const ubigint shared = number(limbs(40, 0xffffffff));
    std::vector<ubigint> mine(1000, shared);
    for (unsigned long i = 0; i < mine.size(); i += 2)
        mine[i] = number(limbs(8, 0xffffffff)); // shared by one number in each thread
    std::vector<ubigint> others(mine);
    const auto add_to_each = [&shared](std::vector<ubigint>& own, unsigned int value) {
        for (ubigint& n : own) {
            n.add(value);
            ubigint(shared).sub(n);
        }
    };
    std::thread first(add_to_each, std::ref(mine), 1u), second(add_to_each, std::ref(others), 2u);
    first.join();
    second.join();
    for (unsigned long i = 0; i < mine.size(); ++i) {
        const mpz_class start = (mpz_class(1) << (i % 2 ? 1280 : 256)) - 1;
        ASSERT_TRUE(value_of(mine[i]) == start + 1 && value_of(others[i]) == start + 2);
    }
    EXPECT_EQ(limbs_of(shared), limbs(40, 0xffffffff));
}

} // namespace
