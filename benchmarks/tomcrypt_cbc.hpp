// AES-256 in CBC mode by libtomcrypt.
#pragma once

#include <tomcrypt.h>

#include <cstring>

namespace tomcrypt {

constexpr unsigned long block_size = 16;

inline unsigned long whole_blocks(unsigned long bytes) {
    return (bytes + block_size - 1) / block_size * block_size;
}

// A cipher with its key and a chaining block that begins as zeros.
class cbc {
public:
    explicit cbc(const char* key) {
        static const int cipher = register_cipher(&aes_desc);
        const unsigned char zeros[block_size] = {};
        cbc_start(cipher, zeros, reinterpret_cast<const unsigned char*>(key), 32, 0, &state_);
    }
    cbc(const cbc&) = delete;
    cbc& operator=(const cbc&) = delete;
    ~cbc() { cbc_done(&state_); }

    // Whole blocks, in place.
    void encrypt(char* bytes, unsigned long count) {
        auto* at = reinterpret_cast<unsigned char*>(bytes);
        cbc_encrypt(at, at, count, &state_);
    }
    void decrypt(char* bytes, unsigned long count) {
        auto* at = reinterpret_cast<unsigned char*>(bytes);
        cbc_decrypt(at, at, count, &state_);
    }

private:
    symmetric_CBC state_;
};

} // namespace tomcrypt
