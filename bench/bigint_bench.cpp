// Arithmetic on operands of key sizes, beside GMP and OpenSSL.
#include <orv/bigint/ubigint.hpp>

#include <benchmark/benchmark.h>
#include <gmp.h>
#include <openssl/bn.h>

#include <memory>
#include <random>
#include <string>

namespace {

// Random bytes, lowest first: of the full length, and odd, as moduli are.
std::string operand(unsigned long bits, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(bits / 8, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    bytes.front() = static_cast<char>(bytes.front() | 1);
    bytes.back() = static_cast<char>(bytes.back() | 0x80);
    return bytes;
}

struct ours {
    ubigint n;
    ours(unsigned long bits, unsigned seed) {
        const std::string bytes = operand(bits, seed);
        n.set(bytes.data(), bytes.size());
    }
};

struct gmp {
    mpz_t n;
    gmp() { mpz_init(n); }
    gmp(unsigned long bits, unsigned seed) : gmp() {
        const std::string bytes = operand(bits, seed);
        mpz_import(n, bytes.size(), -1, 1, 0, 0, bytes.data());
    }
    gmp(const gmp&) = delete;
    gmp& operator=(const gmp&) = delete;
    ~gmp() { mpz_clear(n); }
};

struct openssl {
    std::unique_ptr<BIGNUM, void (*)(BIGNUM*)> n{BN_new(), BN_free};
    openssl() = default;
    openssl(unsigned long bits, unsigned seed) {
        const std::string bytes = operand(bits, seed);
        BN_lebin2bn(reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<int>(bytes.size()), n.get());
    }
};

unsigned long bits_of(const benchmark::State& state) {
    return static_cast<unsigned long>(state.range(0));
}

void modexp_ours(benchmark::State& state) {
    const ours base(bits_of(state), 1), exponent(bits_of(state), 2), modulus(bits_of(state), 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(ubigint::modexp2(base.n, exponent.n, modulus.n));
}

void modexp_gmp(benchmark::State& state) {
    const gmp base(bits_of(state), 1), exponent(bits_of(state), 2), modulus(bits_of(state), 3);
    gmp power;
    for (auto _ : state)
        mpz_powm(power.n, base.n, exponent.n, modulus.n);
}

void modexp_openssl(benchmark::State& state) {
    const openssl base(bits_of(state), 1), exponent(bits_of(state), 2), modulus(bits_of(state), 3);
    openssl power;
    const std::unique_ptr<BN_CTX, void (*)(BN_CTX*)> context(BN_CTX_new(), BN_CTX_free);
    for (auto _ : state)
        BN_mod_exp(power.n.get(), base.n.get(), exponent.n.get(), modulus.n.get(), context.get());
}

void mul_ours(benchmark::State& state) {
    const ours a(bits_of(state), 1), b(bits_of(state), 2);
    for (auto _ : state) {
        ubigint product(a.n);
        product.mul(b.n);
        benchmark::DoNotOptimize(product.limb(0));
    }
}

void mul_gmp(benchmark::State& state) {
    const gmp a(bits_of(state), 1), b(bits_of(state), 2);
    gmp product;
    for (auto _ : state)
        mpz_mul(product.n, a.n, b.n);
}

// A number of twice the length of its divisor.
void div_ours(benchmark::State& state) {
    const ours a(2 * bits_of(state), 1), d(bits_of(state), 2);
    for (auto _ : state) {
        ubigint quotient(a.n), remainder;
        quotient.div(d.n, remainder);
        benchmark::DoNotOptimize(remainder.limb(0));
    }
}

void div_gmp(benchmark::State& state) {
    const gmp a(2 * bits_of(state), 1), d(bits_of(state), 2);
    gmp quotient, remainder;
    for (auto _ : state)
        mpz_tdiv_qr(quotient.n, remainder.n, a.n, d.n);
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(512)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(modexp_ours)->Apply(sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(modexp_gmp)->Apply(sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(modexp_openssl)->Apply(sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(mul_ours)->Apply(sizes);
BENCHMARK(mul_gmp)->Apply(sizes);
BENCHMARK(div_ours)->Apply(sizes);
BENCHMARK(div_gmp)->Apply(sizes);

} // namespace
