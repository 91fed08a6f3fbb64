// A sequence of operations on a few numbers, each carried out by GMP as well. The input is a byte
// that chooses an operation, a byte for each number that takes part, and the bytes of a number
// behind their count.
#include "support.hpp"

#include <orv/bigint/ubigint.hpp>

#include <gmpxx.h>

namespace {

using fuzz::require;

mpz_class value_of(const ubigint& number) {
    mpz_class value;
    for (unsigned long i = number.count(); i-- > 0;)
        value = (value << 32) + number.limb(i);
    return value;
}

unsigned int low_limb(const mpz_class& value) {
    return static_cast<unsigned int>(mpz_class(value & 0xffffffff).get_ui());
}

// Division by one limb, which looks at the lowest limb first.
unsigned int divide_by_limb(mpz_class& value, unsigned int divisor) {
    const unsigned int lowest = low_limb(value);
    if (divisor == 0 || lowest < divisor) {
        value = 0;
        return lowest;
    }
    const unsigned long remainder = mpz_class(value % divisor).get_ui();
    value /= divisor;
    return static_cast<unsigned int>(remainder);
}

std::string decimal(mpz_class value) {
    std::string digits;
    while (low_limb(value) != 0)
        digits.insert(digits.begin(), static_cast<char>('0' + divide_by_limb(value, 10)));
    return digits;
}

// The power as it is defined: the exponent ends at a lowest limb of zero, and a modulus of one limb
// divides as above.
mpz_class power(mpz_class base, mpz_class exponent, const ubigint& modulus) {
    const mpz_class by = value_of(modulus);
    const auto reduce = [&](mpz_class& product) {
        if (modulus.count() > 1 && by != 0)
            product %= by;
        else
            product = divide_by_limb(product, low_limb(by));
    };
    mpz_class result = 1;
    for (; low_limb(exponent) != 0; exponent >>= 1) {
        if (mpz_odd_p(exponent.get_mpz_t())) {
            result *= base;
            reduce(result);
        }
        base *= base;
        reduce(base);
    }
    return result;
}

class session {
public:
    explicit session(fuzz::input from) : in_(from) {}

    void run() {
        while (!in_.empty()) {
            step();
            for (unsigned i = 0; i < numbers; ++i)
                require(value_of(ours_[i]) == expected_[i], "every number after each operation");
        }
    }

private:
    static constexpr unsigned numbers = 4;
    static constexpr unsigned long most_limbs = 40; // in what is multiplied
    static constexpr unsigned long most_modulus = 8;
    static constexpr unsigned long most_exponent = 4;

    unsigned number() { return in_.below(numbers); }

    void step() {
        switch (in_.below(10)) {
        case 0:
            return set(number());
        case 1:
            return copy(number());
        case 2:
            return add(number());
        case 3:
            return sub(number());
        case 4:
            return mul(number());
        case 5:
            return div(number());
        case 6:
            return div_small(number());
        case 7:
            return raise(number());
        case 8:
            return to_binary(number());
        default:
            return to_string(number());
        }
    }

    void set(unsigned to) {
        const std::string bytes = in_.take(in_.byte());
        ours_[to].set(bytes.data(), bytes.size());
        mpz_import(expected_[to].get_mpz_t(), bytes.size(), -1, 1, 0, 0, bytes.data());
        require(ours_[to].count() == (bytes.size() + 3) / 4, "the limbs of a number that was set");
    }
    void copy(unsigned to) {
        const unsigned from = number();
        ours_[to] = ours_[from];
        expected_[to] = expected_[from];
    }
    void add(unsigned to) {
        const unsigned int amount = static_cast<unsigned int>(in_.integer());
        ours_[to].add(amount);
        expected_[to] += amount;
        require(ours_[to].count() >= 1, "at least one limb");
    }
    void sub(unsigned from) {
        const unsigned what = number();
        const bool fewer = ours_[from].count() < ours_[what].count();
        ours_[from].sub(ours_[what]);
        if (fewer || expected_[from] < expected_[what])
            expected_[from] = 0;
        else
            expected_[from] -= expected_[what];
    }
    void mul(unsigned to) {
        const unsigned by = number();
        if (ours_[to].count() + ours_[by].count() > most_limbs)
            return;
        ours_[to].mul(ours_[by]);
        expected_[to] *= expected_[by];
    }
    void div(unsigned to) {
        const unsigned by = number();
        const unsigned rest = number();
        const mpz_class dividend = expected_[to];
        const mpz_class divisor = expected_[by];
        ours_[to].div(ours_[by], ours_[rest]);
        expected_[rest] = divisor == 0 ? dividend : mpz_class(dividend % divisor);
        expected_[to] = divisor == 0 ? mpz_class() : mpz_class(dividend / divisor);
    }
    void div_small(unsigned to) {
        const unsigned int by = static_cast<unsigned int>(in_.integer());
        unsigned int remainder;
        ours_[to].div2(by, remainder);
        require(remainder == divide_by_limb(expected_[to], by),
                "the remainder of a small division");
    }
    void raise(unsigned to) {
        const unsigned base = number();
        const unsigned exponent = number();
        const unsigned modulus = number();
        if (ours_[base].count() > most_modulus || ours_[modulus].count() > most_modulus ||
            ours_[exponent].count() > most_exponent)
            return;
        expected_[to] = power(expected_[base], expected_[exponent], ours_[modulus]);
        ours_[to] = ubigint::modexp2(ours_[base], ours_[exponent], ours_[modulus]);
    }
    void to_binary(unsigned of) {
        const unsigned bits = in_.byte() * 8u + in_.below(9);
        const bin_t bytes = ours_[of].toBinary(bits);
        require(bytes.length() == (bits + 7) / 8, "the length of the bytes");
        mpz_class back;
        mpz_import(back.get_mpz_t(), bytes.length(), -1, 1, 0, 0, bytes.data());
        require(back == expected_[of] % (mpz_class(1) << (bytes.length() * 8)), "the bytes");
    }
    void to_string(unsigned of) {
        const mpz_class& value = expected_[of];
        const std::string digits = ours_[of].toString().c_str();
        require(digits == decimal(value), "the digits");
        require(value == 0 || value > 0xffffffff || digits == value.get_str(),
                "the digits of a small number");
    }

    fuzz::input in_;
    ubigint ours_[numbers];
    mpz_class expected_[numbers];
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    session(fuzz::input(data, size)).run();
    return 0;
}
