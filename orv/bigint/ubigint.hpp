// `ubigint`, an unsigned integer of any length.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>

// An unsigned integer in limbs of 32 bits, the least significant first, made for modular arithmetic
// on numbers of hundreds to thousands of bits.
//
// A copy shares the limbs and costs one increment; a write to shared limbs makes a private copy. A
// number that was never written has no limbs and is zero. Room grows by exactly the limbs that are
// needed.
//
// Zero limbs at the top count as in use until an operation strips them: `set`, `add` and `mul`
// leave them, `sub`, `div2` and `div` strip their results. Some operations depend on the limbs in
// use, or on the lowest limb alone, as noted with each; this is how they are defined.
//
// Every operand may be the object itself, or share its limbs.
//
// Threads: numbers that share limbs may belong to different threads, as their count is atomic; one
// number may be read by several threads, or written by one. Errors: none are reported. If memory
// runs out, the allocator's exception propagates, as does `std::bad_array_new_length` for an
// impossible length, and the number may then have any value.
class ORV_API ubigint {
public:
    ubigint() = default;
    ubigint(const ubigint& other);
    ubigint(ubigint&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~ubigint();
    ubigint& operator=(const ubigint& other);
    ubigint& operator=(ubigint&& other) noexcept;

    // The number of limbs in use, zero limbs at the top included.
    unsigned long count() const;
    // The number of limbs there is room for; 0 for a number that was never written.
    unsigned long size() const;
    // Limb `index`, 0 being the lowest; 0 beyond the limbs in use.
    unsigned int limb(unsigned long index) const;

    // Sets the number from `count` bytes, the least significant first. Every four bytes, or fewer
    // at the end, make one limb in use, zero or not. Null `bytes` give zero.
    void set(const char* bytes, unsigned long count);
    // The low `bits` bits in (bits + 7) / 8 bytes, the least significant first; zero bytes follow
    // the limbs in use. If `bits` is not a multiple of 8, the last byte is returned whole.
    bin_t toBinary(unsigned long bits) const;
    // The number in decimal by repeated `div2`, until the lowest limb is zero: exact for numbers
    // below 2^32, and for greater ones whose lowest limb stays at 10 or above in all divisions but
    // those of the last limb. Zero, and any number whose lowest limb is zero, gives empty text.
    str_t toString() const;

    // Adds `value`; at least one limb is in use afterwards.
    void add(unsigned int value);
    // Subtracts `other`; the result is zero unless that is less. The one with more limbs in use is
    // taken as greater, zero limbs at the top or not; if that is wrong, the result is zero, too.
    void sub(const ubigint& other);
    // Multiplies by `other`.
    void mul(const ubigint& other);
    // Divides by `divisor` and stores the remainder. Zero limbs at the top do not matter. Division
    // by zero gives zero and this number as the remainder. If `remainder` is this number itself, it
    // ends up as the quotient.
    void div(const ubigint& divisor, ubigint& remainder);
    // Divides by a small number and stores the remainder. If `divisor` is 0, or the lowest limb
    // alone is less than it, the remainder is that limb and the number becomes zero, whatever the
    // limbs above: exact only for numbers of one limb, and those whose lowest limb is not less.
    void div2(unsigned int divisor, unsigned int& remainder);

    // `base` to the power of `exponent`, modulo `modulus`. 1 if the exponent is zero. The bits of
    // the exponent are used from the lowest up, until the next 32 are all zero: bits above such a
    // gap are ignored. If the modulus has one limb in use, the products are reduced by the rule of
    // `div2`, which is exact as long as they stay below 2^32. A modulus of zero reduces a product
    // to its lowest limb.
    static ubigint modexp2(const ubigint& base, const ubigint& exponent, const ubigint& modulus);

private:
    struct block;

    // The limbs in use, for reading.
    ORV_LOCAL const unsigned int* limbs() const;
    // The limbs, for writing, in a private block that has limb `index`. What is written beyond the
    // limbs in use counts once `use` is called.
    ORV_LOCAL unsigned int* room_for(unsigned long index);
    // Counts limb `index` and those below as in use.
    ORV_LOCAL void use(unsigned long index);
    // Counts zero limbs at the top as not in use.
    ORV_LOCAL void strip();
    // Copies `count` limbs into a new block of `size` limbs; leaves no block for size 0.
    ORV_LOCAL void install(const unsigned int* limbs, unsigned long count, unsigned long size);
    ORV_LOCAL void clear();

    block* block_ = nullptr;
};
