// Big integers: the rules in tables, and random cases beside GMP and OpenSSL.
#include <orv/bigint/ubigint.hpp>

#include "support/random.hpp"

#include <gmpxx.h>
#include <gtest/gtest.h>
#include <openssl/bn.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using limbs = std::vector<unsigned int>; // lowest first, zero limbs at the top included

ubigint number(const limbs& from) {
    std::string bytes;
    for (unsigned int limb : from)
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(limb >> shift);
    ubigint made;
    made.set(bytes.data(), bytes.size());
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

mpz_class value(const limbs& from) {
    mpz_class result;
    mpz_import(result.get_mpz_t(), from.size(), -1, sizeof(unsigned int), 0, 0, from.data());
    return result;
}

unsigned int lowest(const mpz_class& from) {
    return static_cast<unsigned int>(mpz_class(from & 0xffffffff).get_ui());
}

// Quotient and remainder of whole numbers; by zero there is a remainder only.
void divide(const mpz_class& a, const mpz_class& b, mpz_class& quotient, mpz_class& remainder) {
    quotient = b == 0 ? b : mpz_class(a / b);
    remainder = b == 0 ? a : mpz_class(a % b);
}

// The same by the rule for small divisors: the lowest limb alone says whether there is a quotient.
void divide2(const mpz_class& a, unsigned int b, mpz_class& quotient, mpz_class& remainder) {
    divide(lowest(a) < b ? mpz_class(lowest(a)) : a, b, quotient, remainder);
    remainder = lowest(remainder);
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

// Mostly short, sometimes up to 4096 bits; with zero limbs at the top now and then.
limbs random_limbs(seeded_random& random) {
    return random_limbs(random, random.below(random.below(5) ? 10 : 129));
}

// A number beside `other`: of any length, equal, or different in one limb only.
limbs random_beside(seeded_random& random, const limbs& other) {
    limbs result = random.below(3) ? random_limbs(random) : other;
    if (!result.empty() && random.below(4))
        result[random.below(result.size())] += static_cast<unsigned int>(random.below(3)) - 1;
    return result;
}

TEST(Ubigint, LimbsAndBytes) {
    struct {
        std::string bytes;
        limbs expected;
    } const sets[] = {
        {"", {}},
        {std::string("\1\0\0\0\5", 5), {1, 5}},
        {"\xff\xfe", {0xfeff}},
        {std::string("\1\0\0\0\0\0\0", 7), {1, 0}}, // zero limbs at the top stay
        {std::string(9, '\0'), {0, 0, 0}},
    };
    ubigint n = number({1, 2, 3, 4, 5});
    for (const auto& row : sets) {
        n.set(row.bytes.data(), row.bytes.size());
        EXPECT_EQ(limbs_of(n), row.expected);
        EXPECT_EQ(n.size(), row.expected.size());
        EXPECT_EQ(n.limb(row.expected.size()), 0u);
    }
    n.set(nullptr, 4);
    EXPECT_EQ(n.count(), 0u);

    struct {
        limbs from;
        unsigned long bits;
        std::string bytes;
    } const gets[] = {
        {{0x12345678}, 0, ""},
        {{0x12345678}, 16, "\x78\x56"},
        {{0x12345678}, 12, "\x78\x56"}, // whole bytes
        {{0x12345678}, 31, "\x78\x56\x34\x12"},
        {{0x12345678}, 33, std::string("\x78\x56\x34\x12\0", 5)},
        {{0x12345678}, 48, std::string("\x78\x56\x34\x12\0\0", 6)},
        {{1, 0x0908}, 41, std::string("\1\0\0\0\x08\x09", 6)},
        {{}, 9, std::string(2, '\0')},
    };
    for (const auto& row : gets)
        EXPECT_EQ(number(row.from).toBinary(row.bits), bin_t(row.bytes.data(), row.bytes.size()));
}

TEST(Ubigint, RoomGrowsByExactlyTheLimbsNeeded) {
    struct {
        limbs from;
        unsigned int value;
        limbs expected;
    } const rows[] = {
        {{}, 0, {0}},
        {{0xffffffff}, 1, {0, 1}},
        {{0xffffffff, 0xffffffff}, 0xffffffff, {0xfffffffe, 0, 1}},
        {{0xffffffff, 5, 0}, 1, {0, 6, 0}}, // zero limbs at the top stay
    };
    for (const auto& row : rows) {
        ubigint n = number(row.from);
        n.add(row.value);
        EXPECT_EQ(limbs_of(n), row.expected);
        EXPECT_EQ(n.size(), row.expected.size());
    }

    // Limbs that were stripped are room, in a private copy too, and are used again.
    ubigint n = number({3, 0, 1});
    n.sub(number({4}));
    EXPECT_EQ(limbs_of(n), (limbs{0xffffffff, 0xffffffff}));
    const ubigint copy(n);
    n.add(1);
    EXPECT_EQ(limbs_of(n), (limbs{0, 0, 1}));
    EXPECT_EQ(n.size(), 3u);
    EXPECT_EQ(limbs_of(copy), (limbs{0xffffffff, 0xffffffff}));
}

TEST(Ubigint, Decimal) {
    struct {
        limbs from;
        const char* text;
    } const rows[] = {
        {{}, ""}, // zero is empty text
        {{0, 0}, ""},
        {{1234}, "1234"},
        {{10}, "10"},
        {{0xffffffff}, "4294967295"},
        {{0, 1}, ""}, // a zero lowest limb ends the text
        {{9, 1}, "9"},
        {{10, 1}, "4294967306"},
        {{0xeb1f0ad2, 0xab54a98c}, "12345678901234567890"},
        {{~0u, ~0u, ~0u, ~0u}, "340282366920938463463374607431768211455"},
    };
    for (const auto& row : rows)
        EXPECT_STREQ(number(row.from).toString().c_str(), row.text);
}

TEST(Ubigint, OddCasesOfTheOperations) {
    struct {
        char operation;
        limbs a, b, result, remainder;
    } const rows[] = {
        {'-', {5}, {7}, {}, {}},
        {'-', {7}, {7}, {}, {}},
        {'-', {0, 1}, {1}, {0xffffffff}, {}},
        {'-', {5}, {3, 0}, {}, {}},  // fewer limbs count as less, whatever they are
        {'-', {5, 0}, {3}, {2}, {}}, // more limbs count as more,
        {'-', {3, 0}, {5}, {}, {}},  // but the result never falls below zero
        {'-', {0, 0}, {}, {}, {}},
        {'*', {0xffffffff}, {0xffffffff}, {1, 4294967294}, {}},
        {'*', {}, {5}, {}, {}},
        {'*', {0}, {5}, {0}, {}}, // every limb that pairs meet in is in use
        {'*', {3, 0}, {5, 0, 0}, {15, 0, 0, 0}, {}},
        {'/', {100}, {7}, {14}, {2}},
        {'/', {7}, {100}, {}, {7}},
        {'/', {14}, {7}, {2}, {}},
        {'/', {100, 0, 0}, {7, 0, 0, 0}, {14}, {2}}, // zero limbs at the top
        {'/', {5, 6, 0}, {}, {}, {5, 6}},            // by zero
        {'/', {5, 6}, {0, 0}, {}, {5, 6}},
        {'2', {1234}, {10}, {123}, {4}},
        {'2', {7}, {0}, {}, {7}},
        {'2', {}, {0}, {}, {0}},
        {'2', {5, 1}, {10}, {}, {5}}, // the lowest limb alone is looked at
        {'2', {0, 1}, {1}, {}, {0}},
        {'2', {10, 0, 0}, {10}, {1}, {0}},
    };
    for (const auto& row : rows) {
        ubigint n = number(row.a), remainder;
        unsigned int small = 0;
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
        const int index = static_cast<int>(&row - rows);
        EXPECT_EQ(limbs_of(n), row.result) << index;
        EXPECT_EQ(limbs_of(remainder), row.remainder) << index;
    }
}

TEST(Ubigint, OperationsBesideGmp) {
    seeded_random random;
    for (int round = 0; round < 5000; ++round) {
        const limbs a_limbs = random_limbs(random), b_limbs = random_beside(random, a_limbs);
        const unsigned int small = static_cast<unsigned int>(random.next() >> random.below(64));
        const mpz_class a = value(a_limbs), b = value(b_limbs);
        const ubigint a_kept = number(a_limbs), b_kept = number(b_limbs);
        mpz_class quotient, rest;

        const bin_t bytes = a_kept.toBinary(32 * a_limbs.size());
        ubigint n;
        n.set(bytes.data(), bytes.length());
        ASSERT_EQ(limbs_of(n), a_limbs);

        n = a_kept;
        n.add(small);
        ASSERT_EQ(limbs_of(n), limbs_of(mpz_class(a + small), std::max(a_limbs.size(), 1ul)));

        n = a_kept;
        n.sub(b_kept);
        const bool greater = a_limbs.size() >= b_limbs.size() && a > b;
        ASSERT_EQ(limbs_of(n), limbs_of(greater ? mpz_class(a - b) : mpz_class()));

        n = a_kept;
        n.mul(b_kept);
        const bool none = a_limbs.empty() || b_limbs.empty();
        const unsigned long pairs = none ? 0 : a_limbs.size() + b_limbs.size() - 1;
        ASSERT_EQ(limbs_of(n), limbs_of(mpz_class(a * b), pairs));

        ubigint remainder;
        n = a_kept;
        n.div(b_kept, remainder);
        divide(a, b, quotient, rest);
        ASSERT_EQ(limbs_of(n), limbs_of(quotient));
        ASSERT_EQ(limbs_of(remainder), limbs_of(rest));

        unsigned int small_rest = 0;
        n = a_kept;
        n.div2(small, small_rest);
        divide2(a, small, quotient, rest);
        ASSERT_EQ(limbs_of(n), limbs_of(quotient));
        ASSERT_EQ(small_rest, rest);

        std::string digits;
        for (quotient = a; lowest(quotient) != 0;) {
            divide2(mpz_class(quotient), 10, quotient, rest);
            digits.insert(0, rest.get_str());
        }
        ASSERT_EQ(a_kept.toString().c_str(), digits);

        ASSERT_EQ(limbs_of(a_kept), a_limbs);
        ASSERT_EQ(limbs_of(b_kept), b_limbs);
    }
}

// The operands are one number, or share their limbs; a copy made before stays as it was.
TEST(Ubigint, OperandsMayBeTheSame) {
    seeded_random random;
    for (int round = 0; round < 300; ++round) {
        const mpz_class a = value(random_limbs(random)) + 1, d = value(random_limbs(random)) + 1;
        const ubigint kept = number(limbs_of(a)), divisor = number(limbs_of(d));
        const auto is = [](const ubigint& n, const mpz_class& expected) {
            return limbs_of(n) == limbs_of(expected);
        };
        ubigint x(kept), y(kept), r;
        x.mul(x);
        ASSERT_TRUE(is(x, a * a));
        (x = y).mul(y);
        ASSERT_TRUE(is(x, a * a));
        (x = y).sub(x);
        ASSERT_TRUE(is(x, 0));
        (x = y).sub(y);
        ASSERT_TRUE(is(x, 0));
        (x = y).div(x, r);
        ASSERT_TRUE(is(x, 1) && is(r, 0));
        (x = y).div(divisor, x); // ends as the quotient
        ASSERT_TRUE(is(x, a / d));
        (x = y).div(r = divisor, r); // the divisor is read before it is replaced
        ASSERT_TRUE(is(x, a / d) && is(r, a % d));
        (x = y).div(divisor, y);
        ASSERT_TRUE(is(x, a / d) && is(y, a % d));
        (x = kept) = *&x;
        x = ubigint::modexp2(x, x, x);
        ASSERT_TRUE(is(kept, a) && is(divisor, d));
    }
}

// The powers by the rules: 32 zero bits end the exponent, and a modulus of one limb reduces as
// small divisors do.
mpz_class power(const mpz_class& base, mpz_class exponent, const limbs& modulus) {
    const mpz_class whole = value(modulus);
    mpz_class result = 1, square = base, quotient;
    const auto multiply = [&](mpz_class& to) {
        const mpz_class product = to * square;
        if (modulus.size() > 1 && whole != 0)
            divide(product, whole, quotient, to);
        else
            divide2(product, lowest(whole), quotient, to);
    };
    for (; lowest(exponent) != 0; exponent >>= 1) {
        if (mpz_odd_p(exponent.get_mpz_t()))
            multiply(result);
        multiply(square);
    }
    return result;
}

void expect_power(const limbs& base, const limbs& exponent, const limbs& modulus) {
    const mpz_class expected = power(value(base), value(exponent), modulus);
    const bool reduced = exponent.size() > 0 && exponent[0] != 0;
    ASSERT_EQ(limbs_of(ubigint::modexp2(number(base), number(exponent), number(modulus))),
              limbs_of(expected, modulus.size() > 1 && reduced ? 0 : 1));
}

TEST(Ubigint, PowersByTheRules) {
    struct {
        limbs base, exponent, modulus, expected;
    } const rows[] = {
        {{4}, {13}, {497}, {445}},
        {{3}, {200}, {1000}, {1}},
        {{7, 8}, {}, {5}, {1}}, // exponent zero: 1 whatever the modulus
        {{7, 8}, {0, 0}, {1}, {1}},
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
        const limbs base = random_limbs(random, random.below(6));
        const limbs exponent = random_limbs(random, random.below(4));
        limbs modulus = random_limbs(random, random.below(4));
        if (value(modulus) == 0)
            modulus.resize(random.below(2));
        expect_power(base, exponent, modulus);
        if (HasFatalFailure())
            return;
    }
}

TEST(Ubigint, PowersBesideGmpAndOpenssl) {
    seeded_random random;
    const std::unique_ptr<BN_CTX, void (*)(BN_CTX*)> context(BN_CTX_new(), BN_CTX_free);
    const auto big = [](const limbs& from) {
        const bin_t bytes = number(from).toBinary(32 * from.size());
        BIGNUM* made = BN_lebin2bn(reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.length()), nullptr);
        return std::unique_ptr<BIGNUM, void (*)(BIGNUM*)>(made, BN_free);
    };
    const auto full = [&](unsigned long count) { // of the full length, and odd
        limbs result(count);
        for (unsigned int& limb : result)
            limb = static_cast<unsigned int>(random.next()) | 0x80000001;
        return result;
    };
    const unsigned long sizes[][3] = {{64, 64, 64}, {128, 3, 128}, {32, 32, 33}, {40, 8, 16}};
    for (unsigned long round = 0; round < 1000; ++round) {
        const bool is_long = round < std::size(sizes);
        const limbs base = full(is_long ? sizes[round][0] : random.below(9));
        const limbs exponent = full(is_long ? sizes[round][1] : 1 + random.below(5));
        const limbs modulus = full(is_long ? sizes[round][2] : 2 + random.below(7));
        const ubigint result = ubigint::modexp2(number(base), number(exponent), number(modulus));

        mpz_class expected;
        mpz_powm(expected.get_mpz_t(), value(base).get_mpz_t(), value(exponent).get_mpz_t(),
                 value(modulus).get_mpz_t());
        ASSERT_EQ(limbs_of(result), limbs_of(expected));
        const auto other = big({});
        BN_mod_exp(other.get(), big(base).get(), big(exponent).get(), big(modulus).get(),
                   context.get());
        ASSERT_EQ(BN_cmp(big(limbs_of(result)).get(), other.get()), 0);
    }
}

// Copies that share their limbs belong to two threads, each of which writes its own.
TEST(Ubigint, CopiesInTwoThreads) {
    const ubigint shared = number(limbs(40, 0xffffffff));
    std::vector<ubigint> mine(1000, shared);
    for (unsigned long i = 0; i < mine.size(); i += 2)
        mine[i] = number(limbs(8, 0xffffffff)); // shared by one number in each thread
    std::vector<ubigint> others(mine);
    const auto work = [&shared](std::vector<ubigint>& own, unsigned int value) {
        for (ubigint& n : own) {
            n.add(value);
            ubigint copy(shared);
            copy.sub(n);
        }
    };
    std::thread first(work, std::ref(mine), 1u), second(work, std::ref(others), 2u);
    first.join();
    second.join();
    for (unsigned long i = 0; i < mine.size(); ++i) {
        const mpz_class start = (mpz_class(1) << (i % 2 ? 1280 : 256)) - 1;
        ASSERT_EQ(limbs_of(mine[i]), limbs_of(mpz_class(start + 1)));
        ASSERT_EQ(limbs_of(others[i]), limbs_of(mpz_class(start + 2)));
    }
    EXPECT_EQ(limbs_of(shared), limbs(40, 0xffffffff));
}

} // namespace
