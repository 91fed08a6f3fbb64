// The settings file: a store that reads arbitrary bytes, beside a document loaded from what they
// decipher to. The input is a byte, of which bit 0 says whether the rest is the file itself or the
// plaintext to be enciphered, and the other bits where that ciphertext is then damaged, if at all.
#include "support.hpp"

#include <orv/orv.hpp>

#include <sys/mman.h>
#include <unistd.h>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    unsigned char key[] = "a key text of which 32 bytes count";
    fuzz::input in(data, size);
    const unsigned how = in.byte();
    const std::string rest = in.take(size);
    bin_t bytes(rest.data(), rest.size());
    if (how % 2 != 0)
        bytes = ORV::aes::encrypt(bytes, key, 256);
    if (how > 1 && !bytes.empty())
        bytes[bytes.length() * (how / 2) / 128] = 'x';
    const bin_t plain = ORV::aes::decrypt(bytes, key, 256);
    const bool is_ours = plain.length() >= 3 && std::memcmp(plain.data(), "ORV", 3) == 0;
    static const int file = memfd_create("settings", 0);
    fuzz::require(ftruncate(file, 0) == 0 && pwrite(file, bytes.data(), bytes.length(), 0) >= 0,
                  "memory");

    ORV::sconfig store;
    store.file = ("/proc/self/fd/" + std::to_string(file)).c_str();
    store.cipherKey = reinterpret_cast<const char*>(key);
    xml::root expected("root");
    for (xml::root* const document : {&store.doc, &expected})
        (*document)[ORV::sconfig::marker]; // stays, unless there is something to load
    if (is_ours)
        expected.load(plain.data() + 3, plain.length() - 3);
    store.changed = true;
    fuzz::require(store.readV() == (!bytes.empty() && expected.is_set(ORV::sconfig::marker)),
                  "the result");
    fuzz::require(store.changed != is_ours, "a load clears the changed flag");
    store.changed = false; // or it would be saved
    store.doc.is_set("");
    expected.is_set("");
    fuzz::require(fuzz::saved(store.doc) == fuzz::saved(expected), "the document");
    return 0;
}
