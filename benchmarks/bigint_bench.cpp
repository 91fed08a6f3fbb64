// Modular powers of key-sized numbers, compared with GMP.

#include <orv/bigint/ubigint.hpp>

#include <benchmark/benchmark.h>
#include <gmp.h>

#include <random>
#include <string>

namespace {

// Random bytes, lowest first, with the top and bottom bits set, as in moduli.
std::string operand(unsigned long bits, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(bits / 8, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    bytes.front() = static_cast<char>(bytes.front() | 1);
    bytes.back() = static_cast<char>(bytes.back() | 0x80);
    return bytes;
}

unsigned long bits_of(const benchmark::State& state) {
    return static_cast<unsigned long>(state.range(0));
}

ubigint ours(unsigned long bits, unsigned seed) {
    const std::string bytes = operand(bits, seed);
    ubigint made;
    made.set(bytes.data(), bytes.size());
    return made;
}

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

void modexp_ours(benchmark::State& state) {
    const ubigint base = ours(bits_of(state), 1);
    const ubigint exponent = ours(bits_of(state), 2);
    const ubigint modulus = ours(bits_of(state), 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(ubigint::modexp2(base, exponent, modulus));
}

void modexp_gmp(benchmark::State& state) {
    const gmp base(bits_of(state), 1), exponent(bits_of(state), 2), modulus(bits_of(state), 3);
    gmp power;
    for (auto _ : state)
        mpz_powm(power.n, base.n, exponent.n, modulus.n);
}

void key_sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1024)->Arg(2048)->Unit(benchmark::kMillisecond);
}

BENCHMARK(modexp_ours)->Name("modexp2/ours")->Apply(key_sizes);
BENCHMARK(modexp_gmp)->Name("modexp2/GMP")->Apply(key_sizes);

} // namespace
