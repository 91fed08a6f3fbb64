// Long division by shifting and subtracting. Not installed.
#pragma once

#include <orv/bigint/limbs.hpp>

#include <vector>

namespace bigint {

// Divides by one number, any number of times: what is computed from the divisor is kept.
class divider {
public:
    divider(const limb_t* divisor, unsigned long count);

    // Divides in place: `number` becomes the remainder. The quotient, of as many limbs, is written
    // to `quotient` unless that is null; division by zero gives a quotient of zero.
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
    unsigned normal_ = 0; // the bits it is shifted by to begin with
    std::vector<word> divisor_;
    two_words top_[64];           // the divisor shifted by that many more bits: its top two words
    std::vector<word> below_[64]; // and those below, computed when first needed
    std::vector<word> rest_;
};

} // namespace bigint
