// Base64 and base32 in bytes of input a second, beside OpenSSL's base64.
#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <random>
#include <string>
#include <vector>

namespace {

std::string random_bytes(unsigned long count) {
    std::mt19937 random(1);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

unsigned long size_of(const benchmark::State& state) {
    return static_cast<unsigned long>(state.range(0));
}

void count_input(benchmark::State& state, unsigned long bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<long>(bytes));
}

void base64_encode(benchmark::State& state, unsigned long line) {
    const std::string input = random_bytes(size_of(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(str_t::base64code(input.data(), input.size(), line));
    count_input(state, input.size());
}

void base64_decode(benchmark::State& state, unsigned long line) {
    const std::string input = random_bytes(size_of(state));
    const str_t text = str_t::base64code(input.data(), input.size(), line);
    for (auto _ : state)
        benchmark::DoNotOptimize(bin_t::base64decode(text.c_str()));
    count_input(state, text.length());
}

void base32_encode(benchmark::State& state, unsigned long group) {
    const std::string input = random_bytes(size_of(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(str_t::base32code(input.data(), input.size(), group, '-'));
    count_input(state, input.size());
}

void base32_decode(benchmark::State& state, unsigned long group) {
    const std::string input = random_bytes(size_of(state));
    const str_t text = str_t::base32code(input.data(), input.size(), group, '-');
    for (auto _ : state)
        benchmark::DoNotOptimize(bin_t::base32decode(text.c_str()));
    count_input(state, text.length());
}

void openssl_encode(benchmark::State& state) {
    const std::string input = random_bytes(size_of(state));
    const auto* bytes = reinterpret_cast<const unsigned char*>(input.data());
    for (auto _ : state) {
        std::vector<unsigned char> text(input.size() / 3 * 4 + 8);
        EVP_EncodeBlock(text.data(), bytes, static_cast<int>(input.size()));
        benchmark::DoNotOptimize(text.data());
    }
    count_input(state, input.size());
}

void openssl_decode(benchmark::State& state) {
    const std::string input = random_bytes(size_of(state));
    const str_t text = str_t::base64code(input.data(), input.size(), 0);
    const auto* characters = reinterpret_cast<const unsigned char*>(text.c_str());
    for (auto _ : state) {
        std::vector<unsigned char> bytes(text.length());
        EVP_DecodeBlock(bytes.data(), characters, static_cast<int>(text.length()));
        benchmark::DoNotOptimize(bytes.data());
    }
    count_input(state, text.length());
}

void sizes(benchmark::internal::Benchmark* bench) { bench->Arg(48)->Arg(4096)->Arg(1 << 20); }

BENCHMARK_CAPTURE(base64_encode, one_line, 0)->Apply(sizes);
BENCHMARK_CAPTURE(base64_encode, lines_of_76, 76)->Apply(sizes);
BENCHMARK(openssl_encode)->Apply(sizes);
BENCHMARK_CAPTURE(base64_decode, one_line, 0)->Apply(sizes);
BENCHMARK_CAPTURE(base64_decode, lines_of_76, 76)->Apply(sizes);
BENCHMARK(openssl_decode)->Apply(sizes);
BENCHMARK_CAPTURE(base32_encode, one_group, 0)->Apply(sizes);
BENCHMARK_CAPTURE(base32_encode, groups_of_5, 5)->Apply(sizes);
BENCHMARK_CAPTURE(base32_decode, one_group, 0)->Apply(sizes);
BENCHMARK_CAPTURE(base32_decode, groups_of_5, 5)->Apply(sizes);

} // namespace
