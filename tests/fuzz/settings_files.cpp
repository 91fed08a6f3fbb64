// The settings file: a store that reads arbitrary bytes, beside OpenSSL and a document loaded from
// what that deciphers. The input is a byte, of which bit 0 says whether the rest is the file itself
// or the plaintext to be enciphered, and the other bits where that ciphertext is then damaged, if
// at all.
#include "support.hpp"

#include <orv/orv.hpp>

#include <openssl/evp.h>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using fuzz::require;

unsigned char key[] = "a key text of which 32 bytes count";

// What the file format says of deciphering: the blocks are chained by a cipher in CBC mode, and the
// first byte of each tells how many follow.
std::string decipher(std::string bytes) {
    bytes.resize(bytes.size() / 16 * 16);
    std::string blocks(bytes.size() + 16, '\0');
    const auto raw = [](std::string& of) { return reinterpret_cast<unsigned char*>(of.data()); };
    const unsigned char zeros[16] = {};
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key, zeros);
    EVP_CIPHER_CTX_set_padding(context, 0);
    int written = 0;
    EVP_DecryptUpdate(context, raw(blocks), &written, raw(bytes), static_cast<int>(bytes.size()));
    EVP_CIPHER_CTX_free(context);
    std::string plain;
    for (std::size_t at = 0; at < bytes.size(); at += 16)
        plain.append(blocks, at + 1, raw(blocks)[at] <= 15 ? raw(blocks)[at] : 0);
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
    const std::string rest = in.take(size);
    bin_t bytes(rest.data(), rest.size());
    if (how % 2 != 0)
        bytes = ORV::aes::encrypt(bytes, key, 256);
    if (how > 1 && !bytes.empty())
        bytes[bytes.length() * (how / 2) / 128] = 'x';
    const std::string plain = decipher({bytes.data(), bytes.length()});
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
    require(store.readV() == (!bytes.empty() && expected.is_set(ORV::sconfig::marker)),
            "the result");
    require(store.changed != is_ours, "a load clears the changed flag");
    store.changed = false; // or it would be saved
    require(text_of(store.doc) == text_of(expected), "the document");
    return 0;
}
