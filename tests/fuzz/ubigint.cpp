// A sequence of operations on a few numbers, each carried out by GMP as well. The input is a byte
// that chooses an operation, a byte for each number that takes part, and the bytes of a number
// behind their count.
#include "support.hpp"

#include "../support/ubigint_reference.hpp"

#include <iterator>

namespace {

using fuzz::require;
using reference::value_of;

class session {
public:
    explicit session(fuzz::input from) : in_(from) {}

    void run() {
        static constexpr void (session::*operations[])(unsigned) = {
            &session::set,       &session::copy,     &session::add,       &session::sub,
            &session::mul,       &session::div,      &session::div_small, &session::raise,
            &session::to_binary, &session::to_string};
        while (!in_.empty()) {
            const unsigned chosen = in_.below(std::size(operations));
            (this->*operations[chosen])(number());
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
        const unsigned by = number(), rest = number();
        mpz_class remainder = expected_[to];
        const mpz_class quotient = reference::divide(remainder, expected_[by]);
        ours_[to].div(ours_[by], ours_[rest]);
        expected_[rest] = remainder;
        expected_[to] = quotient; // last, for it may be the same number
    }
    void div_small(unsigned to) {
        const unsigned int by = static_cast<unsigned int>(in_.integer());
        unsigned int remainder;
        ours_[to].div2(by, remainder);
        require(remainder == reference::divide_by_limb(expected_[to], by),
                "the remainder of a small division");
    }
    void raise(unsigned to) {
        const unsigned base = number(), exponent = number(), modulus = number();
        if (ours_[base].count() > most_modulus || ours_[modulus].count() > most_modulus ||
            ours_[exponent].count() > most_exponent)
            return;
        expected_[to] = reference::power(expected_[base], expected_[exponent], ours_[modulus]);
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
        require(digits == reference::decimal(value), "the digits");
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
