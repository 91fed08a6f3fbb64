// The settings file: a store that reads arbitrary bytes, beside OpenSSL and a document loaded from
// what that deciphers. The input is a byte, of which bit 0 says whether the rest is the file itself
// or the plaintext to be enciphered, and the other bits where that ciphertext is then damaged, if
// at all.
#include "support.hpp"

#include <orv/orv.hpp>

#include <openssl/evp.h>

#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using fuzz::require;

unsigned char key[] = "a key text of which 32 bytes count";

// What the file format says of deciphering: the blocks are chained by a cipher in CBC mode, and the
// first byte of each tells how many follow.
std::string decipher(const bin_t& bytes) {
    const int length = static_cast<int>(bytes.length() / 16 * 16);
    std::vector<char> blocks(bytes.length() + 16);
    const auto of = [](const char* text) { return reinterpret_cast<const unsigned char*>(text); };
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key, of(std::string(16, 0).c_str()));
    EVP_CIPHER_CTX_set_padding(context, 0);
    int written = 0;
    EVP_DecryptUpdate(context, reinterpret_cast<unsigned char*>(blocks.data()), &written,
                      of(bytes.data()), length);
    EVP_CIPHER_CTX_free(context);
    require(written == length, "all blocks are deciphered");
    std::string plain;
    for (const char* block = blocks.data(); block < blocks.data() + length; block += 16)
        plain.append(block + 1, *of(block) <= 15 ? *of(block) : 0);
    return plain;
}

std::string text_of(xml::item& document) {
    str_t text;
    document.is_set("");
    document.saveF(text, 0);
    return text.c_str();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const unsigned how = in.byte();
    const std::string rest = in.rest();
    bin_t bytes(rest.data(), rest.size());
    if (how % 2 != 0)
        bytes = ORV::aes::encrypt(bytes, key, 256);
    if (how > 1 && !bytes.empty())
        bytes[bytes.length() * (how / 2) / 128] = 'x';
    const std::string plain = decipher(bytes);
    const bool is_ours = plain.compare(0, 3, "ORV") == 0;
    static const int file = memfd_create("settings", 0);
    require(ftruncate(file, 0) == 0 && pwrite(file, bytes.data(), bytes.length(), 0) >= 0,
            "memory");

    ORV::sconfig store;
    store.file = ("/proc/self/fd/" + std::to_string(file)).c_str();
    store.cipherKey = reinterpret_cast<const char*>(key);
    xml::root expected("root");
    for (xml::root* const document : {&store.doc, &expected})
        (*document)[ORV::sconfig::marker]; // stays, unless there is something to load
    if (is_ours)
        expected.load(plain.c_str() + 3, plain.size() - 3);
    store.changed = true;
    const bool loaded = store.readV();
    const bool still_changed = store.changed;
    store.changed = false; // or it would be saved
    require(still_changed != is_ours, "a load clears the changed flag");
    require(loaded == (!bytes.empty() && expected.is_set(ORV::sconfig::marker)), "the result");
    require(text_of(store.doc) == text_of(expected), "the document");
    return 0;
}
