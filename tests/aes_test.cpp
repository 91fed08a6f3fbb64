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
std::string from_bin(const bin_t& from) { return std::string(from.data(), from.length()); }

// AES in CBC mode without padding, over whole blocks, with an initial vector of zeros.
std::string openssl_cbc(std::string in, std::string key) {
    const EVP_CIPHER* cipher = key.size() == 16   ? EVP_aes_128_cbc()
                               : key.size() == 24 ? EVP_aes_192_cbc()
                                                  : EVP_aes_256_cbc();
    const unsigned char zeros[16] = {};
    std::string out(in.size() + 16, 0);
    int length = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, cipher, nullptr, raw(key), zeros);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_EncryptUpdate(context, raw(out), &length, raw(in), static_cast<int>(in.size()));
    EVP_CIPHER_CTX_free(context);
    EXPECT_EQ(static_cast<unsigned long>(length), in.size());
    return out.substr(0, in.size());
}

std::string framed(const std::string& plain) {
    std::string blocks;
    for (unsigned long at = 0; at < plain.size(); at += 15) {
        const std::string piece = plain.substr(at, 15);
        blocks += static_cast<char>(piece.size()) + piece + std::string(15 - piece.size(), 0);
    }
    return blocks;
}

TEST(Aes, SingleBlocks) {
    seeded_random random;
    for (int bits : {128, 192, 256}) {
        std::string key = random.bytes(static_cast<unsigned>(bits) / 8);
        const std::string plain = random.bytes(16), cipher = openssl_cbc(plain, key);
        std::string block = plain, other(16, 0);
        ORV::aes there, back;
        ASSERT_TRUE(there.setkey_enc(raw(key), bits) && back.setkey_dec(raw(key), bits));
        there.crypt_ecb(ORV::aes::mode_t(2), raw(block), raw(other)); // any value but 0
        EXPECT_EQ(other, cipher) << bits;
        there.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(block)); // in place
        EXPECT_EQ(block, cipher) << bits;
        back.crypt_ecb(ORV::aes::mode_decrypt, raw(block), raw(block));
        EXPECT_EQ(block, plain) << bits;
    }
}

TEST(Aes, FramedBlocksAreThoseOfOpenSSL) {
    seeded_random random;
    for (unsigned long length = 0; length < 300; ++length) {
        for (int bits : {128, 192, 256}) {
            std::string key = random.bytes(static_cast<unsigned>(bits) / 8);
            const std::string plain = random.bytes(length < 200 ? length : random.below(20000));
            const bin_t cipher = ORV::aes::encrypt(to_bin(plain), raw(key), bits);
            ASSERT_EQ(cipher.length(), (plain.size() + 14) / 15 * 16);
            ASSERT_EQ(from_bin(cipher), openssl_cbc(framed(plain), key)) << length << ' ' << bits;
            ASSERT_EQ(from_bin(ORV::aes::decrypt(cipher, raw(key), bits)), plain);
            bin_t more(cipher); // the last few bytes are no block
            more.append(plain.data(), plain.size() % 16);
            ASSERT_EQ(from_bin(ORV::aes::decrypt(more, raw(key), bits)), plain);
        }
    }
}

TEST(Aes, BlocksWhoseLengthIsOutOfRangeAreSkipped) {
    seeded_random random;
    std::string key = random.bytes(32), blocks, expected;
    for (int length : {3, 16, 0, 15, 255, 1, 20}) {
        const std::string piece = random.bytes(15);
        blocks += static_cast<char>(length) + piece;
        expected += length < 16 ? piece.substr(0, static_cast<unsigned long>(length)) : "";
    }
    EXPECT_EQ(from_bin(ORV::aes::decrypt(to_bin(openssl_cbc(blocks, key)), raw(key), 256)),
              expected);
}

TEST(Aes, OtherKeySizesAreRefused) {
    for (int bits : {64, 512, 0, -128, 127, 255}) {
        std::string key(64, 7), block(16, 1), out(16, 2);
        EXPECT_TRUE(ORV::aes::encrypt(bin_t("x", 1), raw(key), bits).empty()) << bits;
        EXPECT_TRUE(ORV::aes::decrypt(to_bin(block), raw(key), bits).empty()) << bits;
        ORV::aes cipher;
        EXPECT_TRUE(cipher.setkey_enc(raw(key), 128));
        EXPECT_FALSE(bits % 2 ? cipher.setkey_enc(raw(key), bits)
                              : cipher.setkey_dec(raw(key), bits));
        cipher.crypt_ecb(ORV::aes::mode_encrypt, raw(block), raw(out)); // the old key is gone
        EXPECT_EQ(out, std::string(16, 2)) << bits;
    }
}

// The object ends with the round keys, 68 words, of which nothing is left once it has gone.
TEST(Aes, TheKeyScheduleIsWiped) {
    alignas(ORV::aes) unsigned char memory[sizeof(ORV::aes)];
    unsigned char key[32] = {1, 2, 3};
    auto* cipher = new (memory) ORV::aes;
    cipher->setkey_enc(key, 256);
    const auto zeros = [&] {
        return std::count(memory + sizeof memory - 68 * 8, std::end(memory), 0);
    };
    EXPECT_LT(zeros(), 400);
    cipher->~aes();
    EXPECT_EQ(zeros(), 68 * 8);
}

} // namespace
