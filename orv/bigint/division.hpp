// Long division by shifting and subtracting. Not installed.
#pragma once

#include <orv/bigint/limbs.hpp>

#include <vector>

namespace bigint {

// Divides by one number, as often as wanted: what is worked out about the divisor is kept.
class divider {
public:
    divider(const limb_t* divisor, unsigned long count);

    // Divides in place: what stands in `number` becomes the remainder. The quotient, of as many
    // limbs, is put in `quotient`, unless that is null; by zero it is zero.
    void divide(limb_t* number, unsigned long count, limb_t* quotient);

private:
    using word = std::uint64_t;
    __extension__ using two_words = unsigned __int128;

    struct shift_list {
        unsigned bits[64] = {};
        unsigned count = 0;
    };

    word quotient_word(word* window);
    bool fits_below(const word* window, unsigned shift);
    word subtract_below(word* window, const shift_list& shifts);
    const word* shifted_below(unsigned shift);
    void make_below(unsigned shift);

    unsigned long words_; // of the divisor
    unsigned normal_ = 0; // by how many bits it is shifted to begin with
    std::vector<word> divisor_;
    two_words top_[64];           // shifted by so many bits more: the two words at the top,
    std::vector<word> below_[64]; // and those below, worked out when they are first needed
    std::vector<word> rest_;
};

} // namespace bigint
