// The plaintext of the file is a magic and the document, a line for each tag and text:
//
//     "ORV" <root>LF SP<section>LF ... </root>LF
//
// It is enciphered as a whole (aes.cpp). There is no temporary file and no renaming: a save cuts
// the file and writes it anew.
#include <orv/store/sconfig.hpp>

#include <orv/runtime/trace.h>
#include <orv/store/aes.hpp>
#include <orv/store/xfile.hpp>

#include "../runtime/ticks.hpp"
#include "file_state.hpp"
#include "wipe.hpp"

#include <cstdlib>
#include <cstring>
#include <new>
#include <unistd.h>

namespace ORV {

namespace {

constexpr char magic[] = {'O', 'R', 'V'};
constexpr long save_budget = 10000; // ticks
constexpr useconds_t open_pause = 100000;

const char* or_empty(const char* text) { return text ? text : ""; }

// The 32 bytes of a key text, wiped when they go. Nothing is read behind the text.
struct cipher_key {
    static constexpr int bits = 256;
    unsigned char bytes[bits / 8] = {};

    explicit cipher_key(const str_t& text) {
        const unsigned long length = text.length();
        std::memcpy(bytes, text.c_str(), length < sizeof bytes ? length : sizeof bytes);
    }
    ~cipher_key() { wipe(bytes, sizeof bytes); }
};

bin_t read_all(std::FILE* from) {
    bin_t all;
    char piece[256];
    while (const unsigned long count = std::fread(piece, 1, sizeof piece, from))
        all.append(piece, count);
    return all;
}

// The sleep and the trace follow every attempt, also the one that succeeds. This is intended.
bool open_to_write(xfile& out, const char* path, long deadline) {
    while (!out.handle) {
        if (runtime::ticks() >= deadline)
            return false;
        out.open(path, "w+b");
        usleep(open_pause);
        ORV_trace4("openWrite again");
    }
    return true;
}

bool write_all(std::FILE* to, const char* bytes, unsigned long left) {
    while (left > 0) {
        const unsigned long count = std::fwrite(bytes, 1, left, to);
        if (count == 0 || count > left)
            return false;
        bytes += count;
        left -= count;
    }
    return true;
}

bool write_document(xfile& out, const sconfig& config, long deadline) {
    if (!open_to_write(out, config.file.c_str(), deadline))
        return false;
    str_t text;
    config.doc.saveF(text, 0);
    bin_t plain(magic, sizeof magic);
    plain.append(text.c_str(), text.length());
    cipher_key key(config.cipherKey);
    const bin_t ciphertext = aes::encrypt(plain, key.bytes, cipher_key::bits);
    ORV_trace4("openWrite::write");
    // Unbuffered, so that what is counted as written has left the process, and in one piece as a
    // rule.
    std::setvbuf(out.handle, nullptr, _IONBF, 0);
    if (!write_all(out.handle, ciphertext.data(), ciphertext.length()))
        return false;
    ORV_trace4("openWrite::write OK");
    return true;
}

} // namespace

const char* const sconfig::marker = "~ORV";

sconfig::sconfig() : doc("root") {}

sconfig::~sconfig() {
    try {
        flush();
    } catch (const std::bad_alloc&) {
        // There is nobody left to tell; the file stays as it was opened.
    }
    wipe(cipherKey);
}

bool sconfig::readV() {
    if (file.empty())
        return false;
    xfile in;
    if (!in.open(file.c_str(), "rb"))
        return false;
    const bin_t ciphertext = read_all(in.handle);
    if (ciphertext.empty())
        return false;
    cipher_key key(cipherKey);
    bin_t plain = aes::decrypt(ciphertext, key.bytes, cipher_key::bits);
    plain.add('\0');
    if (plain.length() > sizeof magic && std::memcmp(plain.data(), magic, sizeof magic) == 0) {
        const char* text = plain.data() + sizeof magic;
        xml::buffer* buffer = xml::buffer::create(text, std::strlen(text));
        doc.loadTag(buffer, buffer->text());
        buffer->release();
        changed = false;
    }
    return doc.is_set(marker);
}

bool sconfig::writeV(long timeout) {
    if (file.empty()) {
        ORV_trace4("openWrite::write error");
        return false;
    }
    const long deadline = runtime::deadline(timeout);
    ORV_trace4("openWrite %s", file.c_str());
    xfile out;
    const bool written = write_document(out, *this, deadline);
    out.close();
    if (!written)
        ORV_trace4("openWrite::write error");
    return written;
}

void sconfig::setInt(const char* section, const char* key, int value) {
    bool created;
    xml::item* setting = doc.get(section, key, created);
    // Compared as numbers on purpose: 5 leaves "5abc" as it is, and 0 leaves an empty value.
    if (!created && std::atoi(or_empty(setting->value)) == value)
        return;
    changed = true;
    char digits[20];
    std::snprintf(digits, sizeof digits, "%d", value);
    setting->setText(digits);
}

void sconfig::flush() {
    if (changed && writeV(save_budget))
        fileTime = state_of(file.c_str()).time;
}

} // namespace ORV
