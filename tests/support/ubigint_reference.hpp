// The rules of big integers on GMP's numbers. Where the lowest limb alone decides, that is
// intended.
#pragma once

#include <orv/bigint/ubigint.hpp>

#include <gmpxx.h>

#include <string>

namespace reference {

inline mpz_class value_of(const ubigint& number) {
    mpz_class value;
    for (unsigned long i = number.count(); i-- > 0;)
        value = (value << 32) + number.limb(i);
    return value;
}

inline unsigned int low_limb(const mpz_class& value) {
    return static_cast<unsigned int>(mpz_class(value & 0xffffffff).get_ui());
}

// The quotient; `rest` is left in its place. By zero there is a remainder only.
inline mpz_class divide(mpz_class& rest, const mpz_class& divisor) {
    const mpz_class quotient = divisor == 0 ? mpz_class() : mpz_class(rest / divisor);
    rest -= quotient * divisor;
    return quotient;
}

// Division by one limb, which looks at the lowest limb first. Returns the remainder.
inline unsigned int divide_by_limb(mpz_class& value, unsigned int divisor) {
    mpz_class rest = low_limb(value) < divisor ? mpz_class(low_limb(value)) : value;
    value = divide(rest, divisor);
    return low_limb(rest);
}

inline std::string decimal(mpz_class value) {
    std::string digits;
    while (low_limb(value) != 0)
        digits.insert(digits.begin(), static_cast<char>('0' + divide_by_limb(value, 10)));
    return digits;
}

// The power as it is defined: the exponent ends at a lowest limb of zero, and a modulus of one limb
// divides as above.
inline mpz_class power(mpz_class base, mpz_class exponent, const ubigint& modulus) {
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

} // namespace reference
