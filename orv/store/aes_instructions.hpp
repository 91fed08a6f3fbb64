// The rounds of AES as the processor runs them itself. Not installed.
#pragma once

#include <cstdint>

namespace ORV {

// Enciphers and deciphers chained blocks (CBC), in a time that does not depend on the key. The
// round keys are a schedule of `ORV::aes` for that direction: 4 * (rounds + 1) words.
struct aes_instructions {
    using word = std::uint64_t; // carries 32 bits

    // In place; the first block is chained to zeros.
    void (*encipher)(const word* keys, int rounds, unsigned char* blocks, unsigned long count);
    // The first block is chained to the 16 bytes of `before`. `in` and `out` may be the same if it
    // is the only one.
    void (*decipher)(const word* keys, int rounds, const unsigned char* before,
                     const unsigned char* in, unsigned char* out, unsigned long count);

    // Those of this processor, which is asked once; null if it has none.
    static const aes_instructions* here();
};

} // namespace ORV
