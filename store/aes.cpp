// AES as in FIPS-197, section 5, on four columns of four bytes held as little-endian words. One
// round of a column is four table look-ups, a byte from each of four columns, and a round key.
//
// A block of the settings file, before it is enciphered:
//
//     +---+------------------------------+-------+
//     | n | n bytes of data, n up to 15  | zeros |
//     +---+------------------------------+-------+
#include <orv/store/aes.hpp>

#include "aes_tables.hpp"
#include "wipe.hpp"

#include <cstring>

namespace ORV {

namespace {

constexpr unsigned long block_size = 16;
constexpr unsigned long payload = block_size - 1;

std::uint32_t load(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void store(unsigned char* bytes, std::uint64_t word) {
    const std::uint32_t low = static_cast<std::uint32_t>(word);
    bytes[0] = static_cast<unsigned char>(low);
    bytes[1] = static_cast<unsigned char>(low >> 8);
    bytes[2] = static_cast<unsigned char>(low >> 16);
    bytes[3] = static_cast<unsigned char>(low >> 24);
}

template <int Byte>
unsigned byte_of(std::uint64_t word) {
    return static_cast<unsigned>(word >> (8 * Byte)) & 0xFF;
}

// The bytes that the row shift of the cipher brings together in a column, the first from `a`.
template <class Table>
std::uint64_t mix(const Table* const (&tables)[4], std::uint64_t a, std::uint64_t b,
                  std::uint64_t c, std::uint64_t d) {
    return tables[0][byte_of<0>(a)] ^ tables[1][byte_of<1>(b)] ^ tables[2][byte_of<2>(c)] ^
           tables[3][byte_of<3>(d)];
}

// The same for the last round, which does not mix.
std::uint64_t substitute(const unsigned char* box, std::uint64_t a, std::uint64_t b,
                         std::uint64_t c, std::uint64_t d) {
    return static_cast<std::uint64_t>(box[byte_of<0>(a)]) |
           static_cast<std::uint64_t>(box[byte_of<1>(b)]) << 8 |
           static_cast<std::uint64_t>(box[byte_of<2>(c)]) << 16 |
           static_cast<std::uint64_t>(box[byte_of<3>(d)]) << 24;
}

void exclusive_or(unsigned char* block, const unsigned char* with) {
    for (unsigned long i = 0; i < block_size; ++i)
        block[i] ^= with[i];
}

const unsigned char* bytes_of(const bin_t& in) {
    return reinterpret_cast<const unsigned char*>(in.data());
}

} // namespace

aes::aes() {
    const aes_tables& tables = aes_tables::globalTable();
    forward_box_ = tables.forward_box;
    reverse_box_ = tables.reverse_box;
    for (int i = 0; i < 4; ++i) {
        forward_[i] = tables.forward[i];
        reverse_[i] = tables.reverse[i];
    }
    round_constants_ = tables.round_constants;
    forget();
}

aes::~aes() { forget(); }

// Zeros the key schedule, before there is one and after.
void aes::forget() {
    rounds_ = 0;
    round_key_ = nullptr;
    wipe(round_keys_, sizeof round_keys_);
}

bool aes::setkey_enc(unsigned char* key, int bits) {
    forget();
    if (bits != 128 && bits != 192 && bits != 256)
        return false;
    const int key_words = bits / 32;
    rounds_ = key_words + 6;
    round_key_ = round_keys_;

    for (int i = 0; i < key_words; ++i)
        round_keys_[i] = load(key + 4 * i);
    const int all = 4 * (rounds_ + 1);
    for (int i = key_words; i < all; ++i) {
        word last = round_keys_[i - 1];
        if (i % key_words == 0) {
            const word rotated = (last >> 8 | last << 24) & 0xFFFFFFFF;
            last = substitute(forward_box_, rotated, rotated, rotated, rotated) ^
                   round_constants_[i / key_words - 1];
        } else if (key_words == 8 && i % key_words == 4) {
            last = substitute(forward_box_, last, last, last, last);
        }
        round_keys_[i] = round_keys_[i - key_words] ^ last;
    }
    return true;
}

// The equivalent inverse cipher (FIPS-197, 5.3.5): the round keys from the last to the first, all
// but the two outer ones run through the inverse of MixColumns. The reverse tables do that on a
// byte that was substituted before.
bool aes::setkey_dec(unsigned char* key, int bits) {
    forget();
    aes encryption;
    if (!encryption.setkey_enc(key, bits))
        return false;
    rounds_ = encryption.rounds_;
    round_key_ = round_keys_;

    for (int round = 0; round <= rounds_; ++round) {
        const word* from = encryption.round_keys_ + 4 * (rounds_ - round);
        for (int i = 0; i < 4; ++i) {
            const word k = from[i];
            const bool outer = round == 0 || round == rounds_;
            const word substituted = substitute(forward_box_, k, k, k, k);
            round_keys_[4 * round + i] =
                outer ? k : mix(reverse_, substituted, substituted, substituted, substituted);
        }
    }
    return true;
}

void aes::crypt_ecb(mode_t mode, unsigned char* in, unsigned char* out) {
    if (rounds_ == 0)
        return;
    if (mode == mode_decrypt)
        decipher(in, out);
    else
        encipher(in, out);
}

void aes::encipher(const unsigned char* in, unsigned char* out) const {
    const word* key = round_key_;
    word a = load(in) ^ key[0];
    word b = load(in + 4) ^ key[1];
    word c = load(in + 8) ^ key[2];
    word d = load(in + 12) ^ key[3];
    for (int round = 1; round < rounds_; ++round) {
        key += 4;
        const word next_a = mix(forward_, a, b, c, d) ^ key[0];
        const word next_b = mix(forward_, b, c, d, a) ^ key[1];
        const word next_c = mix(forward_, c, d, a, b) ^ key[2];
        const word next_d = mix(forward_, d, a, b, c) ^ key[3];
        a = next_a;
        b = next_b;
        c = next_c;
        d = next_d;
    }
    key += 4;
    store(out, substitute(forward_box_, a, b, c, d) ^ key[0]);
    store(out + 4, substitute(forward_box_, b, c, d, a) ^ key[1]);
    store(out + 8, substitute(forward_box_, c, d, a, b) ^ key[2]);
    store(out + 12, substitute(forward_box_, d, a, b, c) ^ key[3]);
}

void aes::decipher(const unsigned char* in, unsigned char* out) const {
    const word* key = round_key_;
    word a = load(in) ^ key[0];
    word b = load(in + 4) ^ key[1];
    word c = load(in + 8) ^ key[2];
    word d = load(in + 12) ^ key[3];
    for (int round = 1; round < rounds_; ++round) {
        key += 4;
        const word next_a = mix(reverse_, a, d, c, b) ^ key[0];
        const word next_b = mix(reverse_, b, a, d, c) ^ key[1];
        const word next_c = mix(reverse_, c, b, a, d) ^ key[2];
        const word next_d = mix(reverse_, d, c, b, a) ^ key[3];
        a = next_a;
        b = next_b;
        c = next_c;
        d = next_d;
    }
    key += 4;
    store(out, substitute(reverse_box_, a, d, c, b) ^ key[0]);
    store(out + 4, substitute(reverse_box_, b, a, d, c) ^ key[1]);
    store(out + 8, substitute(reverse_box_, c, b, a, d) ^ key[2]);
    store(out + 12, substitute(reverse_box_, d, c, b, a) ^ key[3]);
}

bin_t aes::encrypt(const bin_t& in, unsigned char* key, int bits) {
    bin_t result;
    aes cipher;
    if (!cipher.setkey_enc(key, bits))
        return result;
    unsigned char chain[block_size] = {};
    const unsigned char* bytes = bytes_of(in);
    for (unsigned long left = in.length(); left > 0;) {
        const unsigned long count = left < payload ? left : payload;
        unsigned char block[block_size] = {};
        block[0] = static_cast<unsigned char>(count);
        std::memcpy(block + 1, bytes, count);
        exclusive_or(block, chain);
        cipher.encipher(block, chain);
        result.append(reinterpret_cast<const char*>(chain), block_size);
        bytes += count;
        left -= count;
    }
    return result;
}

bin_t aes::decrypt(const bin_t& in, unsigned char* key, int bits) {
    bin_t result;
    aes cipher;
    if (!cipher.setkey_dec(key, bits))
        return result;
    unsigned char zeros[block_size] = {};
    const unsigned char* chain = zeros; // the enciphered block before this one
    const unsigned char* bytes = bytes_of(in);
    for (unsigned long left = in.length(); left >= block_size; left -= block_size) {
        unsigned char block[block_size];
        cipher.decipher(bytes, block);
        exclusive_or(block, chain);
        if (block[0] <= payload) // else the block is skipped without a word
            result.append(reinterpret_cast<const char*>(block + 1), block[0]);
        chain = bytes;
        bytes += block_size;
    }
    return result;
}

} // namespace ORV
