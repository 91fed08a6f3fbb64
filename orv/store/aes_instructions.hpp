// The rounds of AES, run by the processor's own instructions. Not installed.
#pragma once

#include <cstdint>

namespace ORV {

// Enciphers and deciphers chained blocks (CBC), in time that does not depend on the key. The round
// keys are a schedule of `ORV::aes` for that direction: 4 * (rounds + 1) words.
struct aes_instructions {
    using word = std::uint64_t; // holds 32 bits

    // In place; the first block is chained to zeros.
    void (*encipher)(const word* keys, int rounds, unsigned char* blocks, unsigned long count);
    // The first block is chained to the 16 bytes at `before`. `in` and `out` may be the same for a
    // single block.
    void (*decipher)(const word* keys, int rounds, const unsigned char* before,
                     const unsigned char* in, unsigned char* out, unsigned long count);

    // The instructions of this processor, which is queried once; null if it has none.
    static const aes_instructions* here();
};

} // namespace ORV
