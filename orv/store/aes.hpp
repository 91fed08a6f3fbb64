// `ORV::aes`, the cipher of the settings file.
#pragma once

#include <orv/buffers/bin.hpp>
#include <orv/buffers/export.h>

#include <cstdint>

namespace ORV {

// AES (FIPS-197) with 128-, 192- and 256-bit keys, with the chaining and framing of the settings
// file: cipher block chaining with an initial vector of zeros, each block carrying a length byte
// and up to 15 bytes. The rounds are run by the processor's instructions for them if it has any,
// and are table-driven if not, with the same results.
//
// A cipher object holds one key schedule, which is wiped when the object is destroyed. Threads: an
// object belongs to one thread; the tables are constant and shared by all. A table look-up takes
// time that depends on the key, and the key schedule uses look-ups on every processor, so the
// cipher is not for use where others can measure it.
class ORV_API aes {
public:
    // The direction of `crypt_ecb`: any value but 0 enciphers.
    enum mode_t : int { mode_decrypt = 0, mode_encrypt = 1 };

    aes();
    ~aes();
    aes(const aes&) = delete;
    aes& operator=(const aes&) = delete;

    // The bytes enciphered: a block of 16 for every 15 or fewer, in order; no block for empty
    // input. `key` has bits / 8 bytes; `bits` other than 128, 192 and 256 give an empty result.
    static bin_t encrypt(const bin_t& in, unsigned char* key, int bits);
    // The reverse. A block whose length byte is out of range, as most are under a wrong key,
    // contributes nothing and is not reported; bytes after the last whole block are ignored.
    static bin_t decrypt(const bin_t& in, unsigned char* key, int bits);

    // Expand a key of bits / 8 bytes for one direction. For `bits` other than 128, 192 and 256 they
    // return false, and the object enciphers nothing.
    bool setkey_enc(unsigned char* key, int bits);
    bool setkey_dec(unsigned char* key, int bits);
    // Processes one block of 16 bytes with the key expanded for that direction; does nothing
    // without a key. `in` and `out` may be the same.
    void crypt_ecb(mode_t mode, unsigned char* in, unsigned char* out);

private:
    using word = std::uint64_t; // holds 32 bits

    ORV_LOCAL void forget();
    // Chained blocks; the first is chained to zeros, or to the one `before`.
    ORV_LOCAL void encipher(unsigned char* blocks, unsigned long count) const;
    ORV_LOCAL void decipher(const unsigned char* before, const unsigned char* in,
                            unsigned char* out, unsigned long count) const;

    const unsigned char* forward_box_;
    const word* forward_[4];
    const unsigned char* reverse_box_;
    const word* reverse_[4];
    const word* round_constants_;
    std::int32_t rounds_; // 10, 12 or 14; 0 without a key
    word* round_key_;     // the first of the keys below; null without a key
    word round_keys_[68];
};

} // namespace ORV
