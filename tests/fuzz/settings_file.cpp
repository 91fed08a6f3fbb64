// The settings file: the cipher, and the store reading what deciphers from arbitrary bytes. The
// input is a byte, of which bit 0 says whether the rest is the file itself or the plaintext to be
// enciphered, and the other bits where that ciphertext is then damaged, if at all.
#include "model.hpp"
#include "support.hpp"

#include <orv/store/aes.hpp>
#include <orv/store/sconfig.hpp>

#include <openssl/evp.h>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using fuzz::require;

unsigned char key[] = "a key text of which 32 bytes count";

// What the file format says of deciphering, on somebody else's cipher: the blocks are chained by a
// cipher in CBC mode, and the first byte of each tells how many follow.
std::string decipher(const bin_t& bytes) {
    static EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    const unsigned char zeros[16] = {};
    const int length = static_cast<int>(bytes.length() / 16 * 16);
    std::vector<unsigned char> blocks(bytes.length() + 16);
    int written = 0;
    EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key, zeros);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_DecryptUpdate(context, blocks.data(), &written,
                      reinterpret_cast<const unsigned char*>(bytes.data()), length);
    require(written == length, "all blocks are deciphered");
    std::string plain;
    for (int i = 0; i < length; i += 16) {
        const unsigned char* block = blocks.data() + i;
        if (block[0] <= 15)
            plain.append(reinterpret_cast<const char*>(block + 1), block[0]);
    }
    return plain;
}

bin_t encipher(const bin_t& plain) {
    for (const int bits : {128, 192, 256}) {
        const bin_t there = ORV::aes::encrypt(plain, key, bits);
        require(there.length() == (plain.length() + 14) / 15 * 16, "the length of the ciphertext");
        require(ORV::aes::decrypt(there, key, bits) == plain, "what was enciphered deciphers");
    }
    return ORV::aes::encrypt(plain, key, 256);
}

// Has a store read the bytes from a file in memory.
void read(const bin_t& bytes, const std::string& plain) {
    static const int file = memfd_create("settings", 0);
    require(ftruncate(file, 0) == 0 &&
                pwrite(file, bytes.data(), bytes.length(), 0) == static_cast<long>(bytes.length()),
            "the file in memory is written");
    ORV::sconfig store;
    store.file = ("/proc/self/fd/" + std::to_string(file)).c_str();
    store.cipherKey = reinterpret_cast<const char*>(key);
    store.doc["kept"];
    store.changed = true;
    const bool loaded = store.readV();
    const bool still_changed = store.changed;
    store.changed = false; // or it would be saved

    fuzz::node expected;
    bool created;
    expected.hold("root", nullptr);
    expected.get("kept", nullptr, created);
    const bool is_ours = plain.compare(0, 3, "ORV") == 0;
    if (is_ours) {
        const fuzz::shared_text text = fuzz::make_text(plain.c_str() + 3);
        expected.load(text, text->data());
    }
    require(still_changed != is_ours, "a load clears the changed flag");
    require(loaded == expected.is_set(ORV::sconfig::marker), "the result of a load");
    store.doc.is_set("");
    require(fuzz::same(store.doc, expected), "the document that was loaded");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned how = in.byte();
    const std::string rest = in.rest();
    bin_t bytes(rest.data(), rest.size());
    if (how % 2 != 0)
        bytes = encipher(bytes);
    if (how > 1 && !bytes.empty())
        bytes[bytes.length() * (how / 2) / 128] = 'x';

    const std::string plain = decipher(bytes);
    const bin_t ours = ORV::aes::decrypt(bytes, key, 256);
    require(std::string(ours.data(), ours.length()) == plain, "the plaintext");
    read(bytes, plain);
    return 0;
}
