// The cipher against the standard's vectors and against OpenSSL; the framing of its blocks.
#include <orv/store/aes.hpp>

#include "support/random.hpp"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

namespace {

// The bytes as the cipher takes them.
unsigned char* raw(std::string& of) { return reinterpret_cast<unsigned char*>(of.data()); }

bin_t to_bin(const std::string& from) { return bin_t(from.data(), from.size()); }

// AES in CBC mode without padding, over whole blocks, with an initial vector of zeros.
std::string openssl_cbc(std::string in, std::string key) {
    const std::string cipher = "AES-" + std::to_string(key.size() * 8) + "-CBC";
    const unsigned char zeros[16] = {};
    std::string out(in.size() + 16, 0);
    int length = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_get_cipherbyname(cipher.c_str()), nullptr, raw(key), zeros);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_EncryptUpdate(context, raw(out), &length, raw(in), static_cast<int>(in.size()));
    EVP_CIPHER_CTX_free(context);
    return out.substr(0, static_cast<unsigned long>(length));
}

TEST(Aes, SingleBlocks) {
    const std::string plain(16, 'p');
    std::string key(24, 'k'), block = plain, other(16, 0);
    ORV::aes there, back;
    ASSERT_TRUE(there.setkey_enc(raw(key), 192) && back.setkey_dec(raw(key), 192));
    there.crypt_ecb(ORV::aes::mode_t(2), raw(block), raw(other));    // any value but 0
    there.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(block)); // in place
    EXPECT_TRUE(block == other && block == openssl_cbc(plain, key));
    back.crypt_ecb(ORV::aes::mode_decrypt, raw(block), raw(block));
    EXPECT_EQ(block, plain);
}

TEST(Aes, FramedBlocksAreThoseOfOpenSSL) {
    seeded_random random;
    for (unsigned long length = 0; length < 100; ++length) {
        for (int bits : {128, 192, 256}) {
            std::string key = random.bytes(static_cast<unsigned>(bits) / 8), blocks;
            const std::string plain = random.bytes(length < 80 ? length : random.below(20000));
            for (unsigned long at = 0; at < plain.size(); at += 15) {
                const std::string piece = plain.substr(at, 15);
                blocks += static_cast<char>(piece.size()) + piece;
                blocks.resize((blocks.size() + 15) / 16 * 16);
            }
            const bin_t cipher = ORV::aes::encrypt(to_bin(plain), raw(key), bits);
            ASSERT_EQ(cipher, to_bin(openssl_cbc(blocks, key))) << length << ' ' << bits;
            // Blocks whose length is out of range are skipped, and the last few bytes are none.
            const std::string others = "\x10" + std::string(15, 'x') + "\xff" + std::string(31, 0);
            const bin_t more = to_bin(openssl_cbc(others + blocks, key).append(length % 16, 'x'));
            ASSERT_EQ(ORV::aes::decrypt(more, raw(key), bits), to_bin(plain));
        }
    }
}

TEST(Aes, OtherKeySizesAreRefused) {
    for (int bits : {64, 512, 0, -128, 127}) {
        std::string key(64, 7), block(16, 1), out(16, 2);
        EXPECT_TRUE(ORV::aes::encrypt(to_bin(block), raw(key), bits).empty()) << bits;
        EXPECT_TRUE(ORV::aes::decrypt(to_bin(block), raw(key), bits).empty()) << bits;
        ORV::aes cipher;
        EXPECT_TRUE(cipher.setkey_enc(raw(key), 128));
        EXPECT_FALSE(cipher.setkey_enc(raw(key), bits) || cipher.setkey_dec(raw(key), bits));
        cipher.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(out)); // the old key is gone
        EXPECT_EQ(out, std::string(16, 2)) << bits;
    }
}

// The object ends with the round keys, 68 words, of which nothing is left once it has gone.
TEST(Aes, TheKeyScheduleIsWiped) {
    alignas(ORV::aes) unsigned char memory[sizeof(ORV::aes)];
    auto* const cipher = new (memory) ORV::aes;
    const auto zeros = [&] { return std::count(std::end(memory) - 68 * 8, std::end(memory), 0); };
    cipher->setkey_enc(memory, 256);
    EXPECT_LT(zeros(), 400);
    cipher->~aes();
    EXPECT_EQ(zeros(), 68 * 8);
}

} // namespace
