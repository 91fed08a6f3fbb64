// AES as in FIPS-197, section 5, on four columns of four bytes held as little-endian words. One
// round of a column takes four table look-ups, with a byte from each of four columns, and a round
// key. A processor with instructions for the rounds uses those instead, with the same keys
// (aes_instructions.cpp).
//
// A block of the settings file, before it is enciphered:
//
//     +---+------------------------------+-------+
//     | n | n bytes of data, n up to 15  | zeros |
//     +---+------------------------------+-------+
#include <orv/store/aes.hpp>

#include <orv/buffers/bin_room.hpp>
#include <orv/store/aes_instructions.hpp>
#include <orv/store/aes_tables.hpp>
#include <orv/store/wipe.hpp>

#include <cstring>

namespace ORV {

namespace {

constexpr unsigned long block_size = 16;
constexpr unsigned long payload = block_size - 1;
constexpr unsigned char zeros[block_size] = {}; // what the first block is chained to

using word = std::uint64_t; // holds 32 bits

// A block in the form that the cipher works on.
struct columns {
    std::uint32_t a, b, c, d;

    friend columns operator^(const columns& x, const columns& y) {
        return {x.a ^ y.a, x.b ^ y.b, x.c ^ y.c, x.d ^ y.d};
    }
};

// Columns are little-endian in memory, like the processor's words.
std::uint32_t load(const unsigned char* bytes) {
    std::uint32_t column;
    std::memcpy(&column, bytes, sizeof column);
    return column;
}

columns load_block(const unsigned char* at) {
    columns block;
    std::memcpy(&block, at, sizeof block);
    return block;
}

void store_block(unsigned char* at, const columns& block) { std::memcpy(at, &block, sizeof block); }

std::uint32_t low(word carried) { return static_cast<std::uint32_t>(carried); }

// A column of the next state: the bytes that the row shift brings together, the first from `a`,
// substituted, mixed, and combined with a column of the round key. The four tables are contiguous.
std::uint32_t mix(const word* tables, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                  std::uint32_t d, word key) {
    const word* const table1 = tables + 256;
    const word* const table2 = tables + 512;
    const word* const table3 = tables + 768;
    return ((low(key) ^ low(tables[a & 0xFF])) ^ low(table1[b >> 8 & 0xFF])) ^
           (low(table2[c >> 16 & 0xFF]) ^ low(table3[d >> 24]));
}

// The same for the last round, which does not mix.
std::uint32_t substitute(const unsigned char* box, std::uint32_t a, std::uint32_t b,
                         std::uint32_t c, std::uint32_t d, word key) {
    const std::uint32_t low_half = box[a & 0xFF] | static_cast<std::uint32_t>(box[b >> 8 & 0xFF])
                                                       << 8;
    const std::uint32_t high_half = box[c >> 16 & 0xFF] | static_cast<std::uint32_t>(box[d >> 24])
                                                              << 8;
    return (low(key) ^ low_half) ^ high_half << 16;
}

// SubWord of the key expansion.
std::uint32_t substitute_each(const unsigned char* box, std::uint32_t bytes) {
    return substitute(box, bytes, bytes, bytes, bytes, 0);
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

// Zeros the key schedule, whether or not there is one.
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
        std::uint32_t last = low(round_keys_[i - 1]);
        if (i % key_words == 0) {
            last = last >> 8 | last << 24;
            last = substitute_each(forward_box_, last) ^ low(round_constants_[i / key_words - 1]);
        } else if (key_words == 8 && i % key_words == 4) {
            last = substitute_each(forward_box_, last);
        }
        round_keys_[i] = round_keys_[i - key_words] ^ last;
    }
    return true;
}

// The equivalent inverse cipher (FIPS-197, 5.3.5): the round keys from the last to the first, all
// but the two outer ones put through the inverse of MixColumns. The reverse tables do that to a
// byte that has been substituted first.
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
            const std::uint32_t k = low(from[i]);
            const bool outer = round == 0 || round == rounds_;
            const std::uint32_t substituted = substitute_each(forward_box_, k);
            round_keys_[4 * round + i] =
                outer ? k : mix(reverse_[0], substituted, substituted, substituted, substituted, 0);
        }
    }
    return true;
}

namespace {

// Everything needed to process blocks, in a local object. Deciphering shifts rows the other way.
template <bool Reverse>
struct block_cipher {
    const word* tables;
    const unsigned char* box;
    const word* key;
    int rounds;

    // The round key that a block is first combined with.
    columns first_key() const { return {low(key[0]), low(key[1]), low(key[2]), low(key[3])}; }

    // Runs blocks, already combined with the first key, through the rounds side by side: the
    // look-ups for one proceed while those for another are pending.
    template <class... Columns>
    [[gnu::always_inline]] void operator()(Columns&... blocks) const {
        const word* k = key;
        for (int round = 1; round < rounds; ++round) {
            k += 4;
            ((blocks = each(mix, tables, blocks, k)), ...);
        }
        k += 4;
        ((blocks = each(substitute, box, blocks, k)), ...);
    }

private:
    template <class Column, class Table>
    [[gnu::always_inline]] static columns each(Column column, const Table* table, const columns& s,
                                               const word* k) {
        if constexpr (Reverse)
            return {
                column(table, s.a, s.d, s.c, s.b, k[0]), column(table, s.b, s.a, s.d, s.c, k[1]),
                column(table, s.c, s.b, s.a, s.d, k[2]), column(table, s.d, s.c, s.b, s.a, k[3])};
        else
            return {
                column(table, s.a, s.b, s.c, s.d, k[0]), column(table, s.b, s.c, s.d, s.a, k[1]),
                column(table, s.c, s.d, s.a, s.b, k[2]), column(table, s.d, s.a, s.b, s.c, k[3])};
    }
};

// The plain block that carries up to 15 bytes.
columns frame(const unsigned char* bytes, unsigned long count) {
    if (count == payload)
        return {static_cast<std::uint32_t>(payload) | load(bytes) << 8, load(bytes + 3),
                load(bytes + 7), load(bytes + 11)};
    unsigned char block[block_size] = {static_cast<unsigned char>(count)};
    std::memcpy(block + 1, bytes, count);
    return load_block(block);
}

} // namespace

void aes::encipher(unsigned char* blocks, unsigned long count) const {
    if (const aes_instructions* const processor = aes_instructions::here())
        return processor->encipher(round_key_, rounds_, blocks, count);
    const block_cipher<false> encipher{forward_[0], forward_box_, round_key_, rounds_};
    columns chain{}; // the enciphered block before, which each block depends on
    for (; count > 0; --count, blocks += block_size) {
        chain = (load_block(blocks) ^ encipher.first_key()) ^ chain;
        encipher(chain);
        store_block(blocks, chain);
    }
}

void aes::decipher(const unsigned char* before, const unsigned char* in, unsigned char* out,
                   unsigned long count) const {
    if (const aes_instructions* const processor = aes_instructions::here())
        return processor->decipher(round_key_, rounds_, before, in, out, count);
    const block_cipher<true> decipher{reverse_[0], reverse_box_, round_key_, rounds_};
    columns chain = load_block(before);
    for (; count >= 2; count -= 2, in += 2 * block_size, out += 2 * block_size) {
        const columns first = load_block(in), second = load_block(in + block_size);
        columns s = first ^ decipher.first_key(), t = second ^ decipher.first_key();
        decipher(s, t);
        store_block(out, s ^ chain);
        store_block(out + block_size, t ^ first);
        chain = second;
    }
    if (count > 0) {
        columns s = load_block(in) ^ decipher.first_key();
        decipher(s);
        store_block(out, s ^ chain);
    }
}

void aes::crypt_ecb(mode_t mode, unsigned char* in, unsigned char* out) {
    if (rounds_ == 0)
        return;
    if (mode == mode_decrypt)
        return decipher(zeros, in, out, 1);
    std::memmove(out, in, block_size);
    encipher(out, 1);
}

bin_t aes::encrypt(const bin_t& in, unsigned char* key, int bits) {
    bin_t result;
    aes schedule;
    if (in.empty() || !schedule.setkey_enc(key, bits))
        return result;
    buffers::bin_appender out(result);
    const unsigned char* bytes = bytes_of(in);
    for (unsigned long left = in.length(); left > 0;) {
        const unsigned long count = left < payload ? left : payload;
        unsigned char block[block_size];
        store_block(block, frame(bytes, count));
        out.append(block, block_size);
        bytes += count;
        left -= count;
    }
    schedule.encipher(out.bytes(), result.length() / block_size);
    return result;
}

bin_t aes::decrypt(const bin_t& in, unsigned char* key, int bits) {
    bin_t result;
    aes schedule;
    if (!schedule.setkey_dec(key, bits))
        return result;
    buffers::bin_appender out(result);
    unsigned char plain[32 * block_size + 1]; // so that 16 bytes follow the last length byte
    const unsigned char* before = zeros;
    const unsigned char* bytes = bytes_of(in);
    for (unsigned long left = in.length() / block_size; left > 0;) {
        const unsigned long count = left < 32 ? left : 32;
        schedule.decipher(before, bytes, plain, count);
        for (unsigned long at = 0; at < count * block_size; at += block_size) {
            if (plain[at] <= payload) // a length out of range is skipped silently
                out.append(plain + at + 1, plain[at]);
        }
        bytes += count * block_size;
        before = bytes - block_size;
        left -= count;
    }
    return result;
}

} // namespace ORV
