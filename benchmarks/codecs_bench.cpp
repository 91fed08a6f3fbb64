// Base64 and base32, both compared with OpenSSL's base64 of the same bytes, as it has no base32.

#include <orv/buffers/bin.hpp>
#include <orv/buffers/str.hpp>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <memory>
#include <random>
#include <string>

namespace {

constexpr unsigned long count = 1 << 20;

const std::string& input() {
    static const std::string made = [] {
        std::mt19937 random(1);
        std::string bytes(count, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        return bytes;
    }();
    return made;
}

str_t base64_text() { return str_t::base64code(input().data(), count, 0); }
str_t base32_text() { return str_t::base32code(input().data(), count, 0, '-'); }

void encode64_ours(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(base64_text());
}

void encode32_ours(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(base32_text());
}

void encode_openssl(benchmark::State& state) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(input().data());
    for (auto _ : state) {
        const std::unique_ptr<unsigned char[]> text(new unsigned char[count / 3 * 4 + 8]);
        EVP_EncodeBlock(text.get(), bytes, static_cast<int>(count));
        benchmark::DoNotOptimize(text.get());
    }
}

void decode64_ours(benchmark::State& state) {
    const str_t text = base64_text();
    for (auto _ : state)
        benchmark::DoNotOptimize(bin_t::base64decode(text.c_str()));
}

void decode32_ours(benchmark::State& state) {
    const str_t text = base32_text();
    for (auto _ : state)
        benchmark::DoNotOptimize(bin_t::base32decode(text.c_str()));
}

void decode_openssl(benchmark::State& state) {
    const str_t text = base64_text();
    const auto* characters = reinterpret_cast<const unsigned char*>(text.c_str());
    for (auto _ : state) {
        const std::unique_ptr<unsigned char[]> bytes(new unsigned char[text.length()]);
        EVP_DecodeBlock(bytes.get(), characters, static_cast<int>(text.length()));
        benchmark::DoNotOptimize(bytes.get());
    }
}

BENCHMARK(encode64_ours)->Name("base64 encode/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(encode_openssl)->Name("base64 encode/OpenSSL")->Unit(benchmark::kMicrosecond);
BENCHMARK(decode64_ours)->Name("base64 decode/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(decode_openssl)->Name("base64 decode/OpenSSL")->Unit(benchmark::kMicrosecond);
BENCHMARK(encode32_ours)->Name("base32 encode/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(encode_openssl)->Name("base32 encode/OpenSSL base64")->Unit(benchmark::kMicrosecond);
BENCHMARK(decode32_ours)->Name("base32 decode/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(decode_openssl)->Name("base32 decode/OpenSSL base64")->Unit(benchmark::kMicrosecond);

} // namespace
