// The cipher, by the processor's instructions and by the tables, against OpenSSL; the framing of
// its blocks. Compiles the cipher's sources into itself.
#include <orv/store/aes.hpp>
#include <orv/store/aes_instructions.hpp>

#include "support/random.hpp"

#include <gtest/gtest.h>
#include <openssl/evp.h>

namespace {

// The bytes as the cipher takes them.
unsigned char* raw(std::string& of) { return reinterpret_cast<unsigned char*>(of.data()); }

bin_t to_bin(const std::string& from) { return bin_t(from.data(), from.size()); }

// AES in CBC mode without padding, over whole blocks, with an initial vector of zeros.
std::string openssl_cbc(std::string in, std::string key, bool encipher) {
    const std::string cipher = "AES-" + std::to_string(key.size() * 8) + "-CBC";
    const unsigned char zeros[16] = {};
    std::string out(in.size() + 16, 0);
    int length = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(context, EVP_get_cipherbyname(cipher.c_str()), nullptr, raw(key), zeros,
                      encipher);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_CipherUpdate(context, raw(out), &length, raw(in), static_cast<int>(in.size()));
    EVP_CIPHER_CTX_free(context);
    return out.substr(0, static_cast<unsigned long>(length));
}

// The bytes that plain blocks carry, appended a block at a time. One whose length byte is out of
// range carries none.
bin_t carried(const std::string& blocks) {
    bin_t all;
    for (unsigned long at = 0; at < blocks.size(); at += 16) {
        const auto count = static_cast<unsigned char>(blocks[at]);
        if (count < 16)
            all.append(&blocks[at + 1], count);
    }
    return all;
}

#if defined(__x86_64__) && !defined(ORV_PORTABLE_AES)
// If they were not, nothing else here would tell.
TEST(Aes, TheInstructionsAreFound) {
    EXPECT_EQ(ORV::aes_instructions::here() != nullptr, __builtin_cpu_supports("aes") != 0);
}
#endif

TEST(Aes, SingleBlocks) {
    const std::string plain(16, 'p');
    std::string key(24, 'k'), block = plain, other(16, 0);
    ORV::aes there, back;
    ASSERT_TRUE(there.setkey_enc(raw(key), 192) && back.setkey_dec(raw(key), 192));
    there.crypt_ecb(ORV::aes::mode_t(2), raw(block), raw(other));    // any value but 0
    there.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(block)); // in place
    EXPECT_TRUE(block == other && block == openssl_cbc(plain, key, true));
    back.crypt_ecb(ORV::aes::mode_decrypt, raw(block), raw(block));
    EXPECT_EQ(block, plain);
}

// Of every length, so that every count of blocks is left over by those done side by side.
TEST(Aes, FramedBlocksAreThoseOfOpenSSL) {
    seeded_random random;
    for (unsigned long length = 0; length < 300; ++length) {
        for (unsigned long bits : {128ul, 192ul, 256ul}) {
            std::string key = random.bytes(bits / 8), blocks;
            const std::string plain = random.bytes(length < 280 ? length : random.below(20000));
            for (unsigned long at = 0; at < plain.size(); at += 15) {
                const std::string piece = plain.substr(at, 15);
                blocks += static_cast<char>(piece.size()) + piece;
                blocks.resize((blocks.size() + 15) / 16 * 16);
            }
            const bin_t cipher = ORV::aes::encrypt(to_bin(plain), raw(key), static_cast<int>(bits));
            ASSERT_EQ(cipher, to_bin(openssl_cbc(blocks, key, true))) << length << ' ' << bits;

            // Blocks of other lengths and out of range, a few bytes that are no block, another key.
            for (unsigned long more = random.below(20); more > 0; --more)
                blocks += static_cast<char>(random.below(20)) + random.bytes(15);
            const std::string expected = openssl_cbc(blocks, key, true);
            const bin_t given = to_bin(expected + random.bytes(length % 16));
            for (const bool right : {true, false}) {
                std::string tried = right ? key : random.bytes(bits / 8);
                const bin_t found = ORV::aes::decrypt(given, raw(tried), static_cast<int>(bits));
                const bin_t appended = carried(openssl_cbc(expected, tried, false));
                ASSERT_EQ(found, appended) << length << ' ' << bits << ' ' << right;
                ASSERT_EQ(found.capacity(), appended.capacity()) << length << ' ' << bits;
            }
        }
    }
}

TEST(Aes, OtherKeySizesAreRefused) {
    std::string key(64, 7), block(16, 1), out(16, 2);
    for (int bits : {64, 512, 0, -128, 127}) {
        EXPECT_TRUE(ORV::aes::encrypt(to_bin(block), raw(key), bits).empty()) << bits;
        EXPECT_TRUE(ORV::aes::decrypt(to_bin(block), raw(key), bits).empty()) << bits;
        ORV::aes cipher;
        EXPECT_TRUE(cipher.setkey_enc(raw(key), 128));
        EXPECT_FALSE(cipher.setkey_enc(raw(key), bits) || cipher.setkey_dec(raw(key), bits));
        cipher.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(out)); // the old key is gone
        EXPECT_EQ(out, std::string(16, 2)) << bits;
    }
}

} // namespace
