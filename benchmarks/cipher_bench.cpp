// AES-256 in CBC mode over 1 MB of payload, of which each block of ours carries 15 bytes.
#include "samples.hpp"
#include "tomcrypt_cbc.hpp"

#include <orv/orv.hpp>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned long payload = 1 << 20;

const std::string& plain_bytes() {
    static const std::string made = [] {
        std::mt19937 random(4);
        std::string bytes(payload, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        return bytes;
    }();
    return made;
}

struct key_bytes {
    unsigned char bytes[32];
    key_bytes() { std::memcpy(bytes, samples::key_text, sizeof bytes); }
};

void count_payload(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<long>(payload));
}

void encipher_ours(benchmark::State& state) {
    const bin_t plain(plain_bytes().data(), payload);
    key_bytes key;
    for (auto _ : state)
        benchmark::DoNotOptimize(ORV::aes::encrypt(plain, key.bytes, 256));
    count_payload(state);
}

void decipher_ours(benchmark::State& state) {
    key_bytes key;
    const bin_t plain(plain_bytes().data(), payload);
    const bin_t enciphered = ORV::aes::encrypt(plain, key.bytes, 256);
    if (ORV::aes::decrypt(enciphered, key.bytes, 256) != plain)
        return state.SkipWithError("not what was enciphered");
    for (auto _ : state)
        benchmark::DoNotOptimize(ORV::aes::decrypt(enciphered, key.bytes, 256));
    count_payload(state);
}

// In place, in a copy of the input, since our side also writes its result to a new buffer.
template <class Step>
void tomcrypt_loop(benchmark::State& state, Step step) {
    for (auto _ : state) {
        std::vector<char> result(plain_bytes().begin(), plain_bytes().end());
        tomcrypt::cbc cipher(samples::key_text);
        step(cipher, result.data());
        benchmark::DoNotOptimize(result.data());
    }
    count_payload(state);
}

void encipher_tomcrypt(benchmark::State& state) {
    tomcrypt_loop(state, [](tomcrypt::cbc& cipher, char* at) { cipher.encrypt(at, payload); });
}

void decipher_tomcrypt(benchmark::State& state) {
    tomcrypt_loop(state, [](tomcrypt::cbc& cipher, char* at) { cipher.decrypt(at, payload); });
}

// With the processor's AES instructions, and as many bytes as our ciphertext has: each of our
// blocks of 16 bytes carries 15.
void openssl_loop(benchmark::State& state, int direction) {
    constexpr unsigned long size = (payload + 14) / 15 * 16;
    const unsigned char zeros[16] = {};
    const std::string in = plain_bytes() + std::string(size - payload, '\0');
    const key_bytes key;
    for (auto _ : state) {
        const std::unique_ptr<unsigned char[]> result(new unsigned char[size + 16]);
        const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(
            EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
        EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key.bytes, zeros, direction);
        EVP_CIPHER_CTX_set_padding(context.get(), 0);
        int count = 0;
        EVP_CipherUpdate(context.get(), result.get(), &count,
                         reinterpret_cast<const unsigned char*>(in.data()), size);
        if (count != static_cast<int>(size))
            return state.SkipWithError("not all was enciphered");
        benchmark::DoNotOptimize(result.get());
    }
    count_payload(state);
}

void encipher_openssl(benchmark::State& state) { openssl_loop(state, 1); }
void decipher_openssl(benchmark::State& state) { openssl_loop(state, 0); }

BENCHMARK(encipher_ours)->Name("encipher/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(encipher_tomcrypt)->Name("encipher/libtomcrypt")->Unit(benchmark::kMicrosecond);
BENCHMARK(encipher_openssl)
    ->Name("encipher/OpenSSL with AES instructions")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(decipher_ours)->Name("decipher/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(decipher_tomcrypt)->Name("decipher/libtomcrypt")->Unit(benchmark::kMicrosecond);
BENCHMARK(decipher_openssl)
    ->Name("decipher/OpenSSL with AES instructions")
    ->Unit(benchmark::kMicrosecond);

} // namespace
