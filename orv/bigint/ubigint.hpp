// `ubigint`, an unsigned integer of any length.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/export.h>
#include <orv/buffers/str.hpp>

// An unsigned integer in limbs of 32 bits, the least significant first, made for modular arithmetic
// on numbers of hundreds to thousands of bits.
//
// A copy shares the limbs and costs one increment; a write to shared limbs goes to a private copy.
// A number that was never written has no limbs and is zero. Room grows by exactly the limbs that
// are needed.
//
// Zero limbs at the top count as in use until an operation strips them: `set`, `add` and `mul`
// leave them, `sub`, `div2` and `div` strip their results. Some operations go by the limbs in use,
// or by the lowest limb alone, as said with each; this is how they are defined.
//
// Every operand may be the object itself, or share its limbs.
//
// Threads: numbers that share limbs may belong to different threads, for their count is atomic; one
// number may be read by several threads, or written by one. Errors: none are reported. If memory
// runs out the allocator's exception passes through, as does `std::bad_array_new_length` for a
// length that nothing can have, and the number may have any value.
class ORV_API ubigint {
public:
    ubigint() = default;
    ubigint(const ubigint& other);
    ubigint(ubigint&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }
    ~ubigint();
    ubigint& operator=(const ubigint& other);
    ubigint& operator=(ubigint&& other) noexcept;

    // The limbs in use, zero limbs at the top included.
    unsigned long count() const;
    // The limbs there is room for; 0 for a number that was never written.
    unsigned long size() const;
    // Limb `index`, 0 being the lowest; 0 behind the limbs in use.
    unsigned int limb(unsigned long index) const;

    // The number of `count` bytes, the least significant first. Every four bytes, or the fewer at
    // the end, make one limb in use, zero or not. Null `bytes` give zero.
    void set(const char* bytes, unsigned long count);
    // The low `bits` bits in (bits + 7) / 8 bytes, the least significant first; zero bytes follow
    // the limbs in use. Where `bits` is no multiple of 8, the last byte is given whole.
    bin_t toBinary(unsigned long bits) const;
    // The number in decimal by repeated `div2`, until the lowest limb is zero: exact for numbers
    // below 2^32, and for greater ones whose lowest limb stays at 10 or above in all divisions but
    // those of the last limb. Zero, and any number whose lowest limb is zero, gives empty text.
    str_t toString() const;

    // Adds `value`; at least one limb is in use afterwards.
    void add(unsigned int value);
    // Subtracts `other`; zero if that is not less. A number with more limbs in use than the other
    // is taken as the greater one, zero limbs at the top or not; should it not be, it is zero too.
    void sub(const ubigint& other);
    // Multiplies by `other`.
    void mul(const ubigint& other);
    // Divides by `divisor` and gives the remainder. Zero limbs at the top do not matter. Division
    // by zero gives zero and this number as remainder. If `remainder` is this number itself it
    // ends as the quotient.
    void div(const ubigint& divisor, ubigint& remainder);
    // Divides by a small number and gives the remainder. If `divisor` is 0, or the lowest limb
    // alone is less than it, the remainder is that limb and the number becomes zero, whatever
    // stands above: exact only for numbers of one limb, and those whose lowest limb is not less.
    void div2(unsigned int divisor, unsigned int& remainder);

    // `base` to the power of `exponent`, modulo `modulus`. 1 if the exponent is zero. The bits of
    // the exponent are used from the lowest up, until the 32 that would be next are all zero: what
    // stands above such a gap is ignored. If the modulus has one limb in use the products are
    // reduced by the rule of `div2`, which is exact as long as they stay below 2^32. A modulus of
    // zero reduces a product to its lowest limb.
    static ubigint modexp2(const ubigint& base, const ubigint& exponent, const ubigint& modulus);

private:
    struct block;

    // The limbs in use, to be read.
    ORV_LOCAL const unsigned int* limbs() const;
    // The limbs, to be written: the block is private and has limb `index`. What is written behind
    // the limbs in use counts once `use` has been told.
    ORV_LOCAL unsigned int* room_for(unsigned long index);
    // Counts limb `index` and those below as in use.
    ORV_LOCAL void use(unsigned long index);
    // Counts zero limbs at the top as not in use.
    ORV_LOCAL void strip();
    // Takes a copy of `count` limbs into a new block of `size` limbs; no block for size 0.
    ORV_LOCAL void install(const unsigned int* limbs, unsigned long count, unsigned long size);
    ORV_LOCAL void clear();

    block* block_ = nullptr;
};
