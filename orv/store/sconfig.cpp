// The plaintext of the file is a magic and the document, a line for each tag and text:
//
//     "ORV" <root>LF SP<section>LF ... </root>LF
//
// It is enciphered as a whole (aes.cpp). There is no temporary file and no renaming: a save cuts
// the file and writes it anew.
#include <orv/store/sconfig.hpp>

#include <orv/buffers/text.hpp>
#include <orv/runtime/ticks.hpp>
#include <orv/runtime/trace.h>
#include <orv/store/aes.hpp>
#include <orv/store/file_state.hpp>
#include <orv/store/wipe.hpp>
#include <orv/store/xfile.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <unistd.h>

namespace ORV {

using buffers::or_empty;

namespace {

constexpr char magic[] = {'O', 'R', 'V'};
constexpr long save_budget = 10000; // ticks
constexpr useconds_t open_pause = 100000;
constexpr useconds_t lock_pause = 1000;
constexpr int lock_tries = 100;

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

// Keeps processes that do the same from writing to the file, or from reading it, while it lives:
// what one of them reads is never half of one save and half of another. The lock is held for the
// time of a write; should its holder have been stopped just then, we go on without it.
class file_lock {
public:
    file_lock(std::FILE* file, int kind) : descriptor_(fileno(file)) {
        for (int tries = 0; tries < lock_tries; ++tries) {
            if (flock(descriptor_, kind | LOCK_NB) == 0 || errno != EWOULDBLOCK)
                return;
            usleep(lock_pause);
        }
    }
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;
    // Closing the file would not do: a process forked meanwhile has it open too.
    ~file_lock() { flock(descriptor_, LOCK_UN); }

private:
    int descriptor_;
};

// Opens an ordinary file as `fopen` with "rb" does. Anything else is left alone: opening a pipe
// waits for its writer. What may take the file's place after the look at it is not waited for.
bool open_to_read(xfile& in, const char* path) {
    if (!state_of(path).ordinary)
        return false;
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    if (is_ordinary(descriptor))
        in.handle = fdopen(descriptor, "rb");
    if (!in.handle)
        close(descriptor);
    return in.handle != nullptr;
}

bin_t read_all(std::FILE* from) {
    const file_lock lock(from, LOCK_SH);
    bin_t all;
    char piece[256];
    while (const unsigned long count = std::fread(piece, 1, sizeof piece, from))
        all.append(piece, count);
    return all;
}

// A program that the host starts does not inherit the file. A pipe in its place does not hold us
// up when it is full: that is a short write.
void keep_to_ourselves(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

// The sleep and the trace follow every attempt, also the one that succeeds: hosts that look at
// their traces find at least one, and those that open the file wait for as long.
bool open_to_write(xfile& out, const char* path, long deadline) {
    while (!out.handle) {
        if (runtime::ticks() >= deadline)
            return false;
        if (out.open(path, "w+b"))
            keep_to_ourselves(fileno(out.handle));
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

bin_t enciphered(const sconfig& config) {
    str_t text;
    config.doc.saveF(text, 0);
    bin_t plain(magic, sizeof magic);
    plain.append(text.c_str(), text.length());
    cipher_key key(config.cipherKey);
    return aes::encrypt(plain, key.bytes, cipher_key::bits);
}

bool write_ciphertext(xfile& out, const char* path, const bin_t& ciphertext, long deadline) {
    if (!open_to_write(out, path, deadline))
        return false;
    const file_lock lock(out.handle, LOCK_EX);
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
    if (!open_to_read(in, file.c_str()))
        return false;
    const bin_t ciphertext = read_all(in.handle);
    in.close();
    if (ciphertext.empty())
        return false;
    cipher_key key(cipherKey);
    bin_t plain = aes::decrypt(ciphertext, key.bytes, cipher_key::bits);
    plain.add('\0');
    if (plain.length() > sizeof magic && std::memcmp(plain.data(), magic, sizeof magic) == 0) {
        const char* text = plain.data() + sizeof magic;
        doc.load(text, std::strlen(text));
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
    // First of all, for a file that has been cut is not to be left so if memory runs out; with no
    // time left, for nothing.
    const bin_t ciphertext = runtime::ticks() < deadline ? enciphered(*this) : bin_t();
    xfile out;
    const bool written = write_ciphertext(out, file.c_str(), ciphertext, deadline);
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
