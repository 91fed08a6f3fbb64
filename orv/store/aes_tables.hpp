// The constant tables of AES. Not installed.
#pragma once

#include <cstdint>

namespace ORV {

// Computed once, with the field arithmetic of FIPS-197, and never written to afterwards. Entries
// are 32-bit values in 64-bit words. A round table merges the S-box with one column of MixColumns,
// and columns are little-endian words; tables 1 to 3 are table 0 rotated by one to three bytes.
struct aes_tables {
    using word = std::uint64_t;

    unsigned char forward_box[256];
    word forward[4][256];
    unsigned char reverse_box[256];
    word reverse[4][256];
    word round_constants[10];

    static const aes_tables& globalTable();

private:
    aes_tables();
};

} // namespace ORV
