// One instruction runs one round of one block. It takes several cycles, but another that does not
// need its result can start in each of them, so eight blocks are deciphered side by side. When
// enciphering, each block depends on the one before.
//
// A round key is assembled from its four words whenever it is needed, so that no other copy of the
// schedule has to be wiped.
#include <orv/store/aes_instructions.hpp>

#include <cstring>

// Functions that run rounds are marked, because this source is compiled without the instructions,
// except for a Mac with arm64. Clang up to 15 cannot mark them for arm64.
#ifdef ORV_PORTABLE_AES
#elif defined(__x86_64__)
#include <cpuid.h>
#include <wmmintrin.h>
#define ORV_RUNS_ROUNDS [[gnu::target("aes")]]
#elif defined(__ARM_FEATURE_AES)
#define ORV_RUNS_ROUNDS
#elif defined(__aarch64__) && (!defined(__clang__) || __clang_major__ > 15)
#define ORV_RUNS_ROUNDS [[gnu::target("+crypto")]]
#endif
#ifdef __aarch64__
#include <arm_neon.h>
#include <orv/runtime/platform.hpp>
#endif

namespace ORV {

#ifdef ORV_RUNS_ROUNDS

namespace {

using word = aes_instructions::word;

// What each processor provides: a block in a register; a round key from its words; what is done to
// a block before the first round; a round that mixes; and the last one, which does not. A round of
// x86-64 ends with a round key, the one after it; a round of arm64 begins with one.
#ifdef __x86_64__

using block = __m128i;

bool has_instructions() {
    unsigned a, b, c = 0, d;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_AES) != 0;
}

block round_key(block first, block second) {
    return _mm_castps_si128(
        _mm_shuffle_ps(_mm_castsi128_ps(first), _mm_castsi128_ps(second), _MM_SHUFFLE(2, 0, 2, 0)));
}

block begin(block s, block key) { return s ^ key; }

template <bool Reverse>
ORV_RUNS_ROUNDS block mix(block s, block, block behind) {
    return Reverse ? _mm_aesdec_si128(s, behind) : _mm_aesenc_si128(s, behind);
}

template <bool Reverse>
ORV_RUNS_ROUNDS block substitute(block s, block, block behind) {
    return Reverse ? _mm_aesdeclast_si128(s, behind) : _mm_aesenclast_si128(s, behind);
}

#else

using block = uint8x16_t;

bool has_instructions() { return runtime::has_aes_instructions(); }

block round_key(block first, block second) {
    return vreinterpretq_u8_u32(
        vuzp1q_u32(vreinterpretq_u32_u8(first), vreinterpretq_u32_u8(second)));
}

block begin(block s, block) { return s; }

template <bool Reverse>
ORV_RUNS_ROUNDS block mix(block s, block in_front, block) {
    return Reverse ? vaesimcq_u8(vaesdq_u8(s, in_front)) : vaesmcq_u8(vaeseq_u8(s, in_front));
}

template <bool Reverse>
ORV_RUNS_ROUNDS block substitute(block s, block in_front, block behind) {
    return (Reverse ? vaesdq_u8(s, in_front) : vaeseq_u8(s, in_front)) ^ behind;
}

#endif

constexpr unsigned long block_size = sizeof(block);

block load(const void* at) {
    block loaded;
    std::memcpy(&loaded, at, sizeof loaded);
    return loaded;
}

void put(unsigned char* at, block from) { std::memcpy(at, &from, sizeof from); }

block round_key(const word* words) { return round_key(load(words), load(words + 2)); }

// Runs blocks through the rounds side by side.
template <bool Reverse, unsigned long Count>
ORV_RUNS_ROUNDS void run(const word* keys, int rounds, block (&blocks)[Count]) {
    block key = round_key(keys);
    for (block& each : blocks)
        each = begin(each, key);
    for (int round = 1; round < rounds; ++round) {
        keys += 4;
        const block next = round_key(keys);
        for (block& each : blocks)
            each = mix<Reverse>(each, key, next);
        key = next;
    }
    const block last = round_key(keys + 4);
    for (block& each : blocks)
        each = substitute<Reverse>(each, key, last);
}

ORV_RUNS_ROUNDS void encipher_chained(const word* keys, int rounds, unsigned char* blocks,
                                      unsigned long count) {
    block chain[1] = {};
    for (; count > 0; --count, blocks += block_size) {
        chain[0] ^= load(blocks);
        run<false>(keys, rounds, chain);
        put(blocks, chain[0]);
    }
}

template <unsigned long Count>
ORV_RUNS_ROUNDS void decipher_some(const word* keys, int rounds, block& chain,
                                   const unsigned char* in, unsigned char* out) {
    block blocks[Count];
    for (unsigned long i = 0; i < Count; ++i)
        blocks[i] = load(in + i * block_size);
    run<true>(keys, rounds, blocks);
    for (unsigned long i = 0; i < Count; ++i) {
        const block next = load(in + i * block_size);
        put(out + i * block_size, blocks[i] ^ chain);
        chain = next;
    }
}

ORV_RUNS_ROUNDS void decipher_chained(const word* keys, int rounds, const unsigned char* before,
                                      const unsigned char* in, unsigned char* out,
                                      unsigned long count) {
    block chain = load(before);
    for (; count >= 8; count -= 8, in += 8 * block_size, out += 8 * block_size)
        decipher_some<8>(keys, rounds, chain, in, out);
    for (; count > 0; --count, in += block_size, out += block_size)
        decipher_some<1>(keys, rounds, chain, in, out);
}

} // namespace

const aes_instructions* aes_instructions::here() {
    static const bool there = has_instructions();
    static constexpr aes_instructions instructions{encipher_chained, decipher_chained};
    return there ? &instructions : nullptr;
}

#else

const aes_instructions* aes_instructions::here() { return nullptr; }

#endif

} // namespace ORV
