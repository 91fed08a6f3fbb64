// Operations on 16 bytes at once, in the form that the processor offers. Nothing else in this
// folder distinguishes processors. Not installed.
#pragma once

#include <cstdint>

#if !defined(ORV_PORTABLE_BYTES16) && defined(__SSE2__)
#include <emmintrin.h>
#elif !defined(ORV_PORTABLE_BYTES16) && defined(__ARM_NEON) && defined(__aarch64__)
#include <arm_neon.h>
#else
#include <cstring>
#endif

namespace xml {

// A comparison sets each byte to all ones where it holds and to zeros elsewhere; `bits` gathers one
// bit of each, that of the first byte lowest.
#if !defined(ORV_PORTABLE_BYTES16) && defined(__SSE2__)

struct bytes16 {
    __m128i v;

    static bytes16 load(const char* at) {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))};
    }
    static bytes16 all(char c) { return {_mm_set1_epi8(c)}; }
    std::uint64_t bits() const { return static_cast<std::uint32_t>(_mm_movemask_epi8(v)); }
    friend bytes16 operator==(bytes16 a, bytes16 b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
    friend bytes16 operator|(bytes16 a, bytes16 b) { return {_mm_or_si128(a.v, b.v)}; }
    friend bytes16 operator&(bytes16 a, bytes16 b) { return {_mm_and_si128(a.v, b.v)}; }
};

#elif !defined(ORV_PORTABLE_BYTES16) && defined(__ARM_NEON) && defined(__aarch64__)

struct bytes16 {
    uint8x16_t v;

    static bytes16 load(const char* at) {
        return {vld1q_u8(reinterpret_cast<const std::uint8_t*>(at))};
    }
    static bytes16 all(char c) { return {vdupq_n_u8(static_cast<std::uint8_t>(c))}; }
    std::uint64_t bits() const {
        static constexpr std::uint8_t bit[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                 1, 2, 4, 8, 16, 32, 64, 128};
        const uint8x16_t ours = vandq_u8(v, vld1q_u8(bit));
        return vaddv_u8(vget_low_u8(ours)) |
               static_cast<std::uint64_t>(vaddv_u8(vget_high_u8(ours))) << 8;
    }
    friend bytes16 operator==(bytes16 a, bytes16 b) { return {vceqq_u8(a.v, b.v)}; }
    friend bytes16 operator|(bytes16 a, bytes16 b) { return {vorrq_u8(a.v, b.v)}; }
    friend bytes16 operator&(bytes16 a, bytes16 b) { return {vandq_u8(a.v, b.v)}; }
};

#else

struct bytes16 {
    unsigned char v[16];

    static bytes16 load(const char* at) {
        bytes16 made;
        std::memcpy(made.v, at, sizeof made.v);
        return made;
    }
    static bytes16 all(char c) {
        return each([c](int) { return static_cast<unsigned char>(c); });
    }
    std::uint64_t bits() const {
        std::uint64_t gathered = 0;
        for (int i = 0; i < 16; ++i)
            gathered |= static_cast<std::uint64_t>(v[i] & 1) << i;
        return gathered;
    }
    friend bytes16 operator==(bytes16 a, bytes16 b) {
        return each([&](int i) { return a.v[i] == b.v[i] ? 0xff : 0; });
    }
    friend bytes16 operator|(bytes16 a, bytes16 b) {
        return each([&](int i) { return a.v[i] | b.v[i]; });
    }
    friend bytes16 operator&(bytes16 a, bytes16 b) {
        return each([&](int i) { return a.v[i] & b.v[i]; });
    }

private:
    template <class Byte>
    static bytes16 each(Byte byte) {
        bytes16 made;
        for (int i = 0; i < 16; ++i)
            made.v[i] = static_cast<unsigned char>(byte(i));
        return made;
    }
};

#endif

} // namespace xml
