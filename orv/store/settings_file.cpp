// The plaintext of the file is a magic and the document, with a line for each tag and text:
//
//     "ORV" <root>LF SP<section>LF ... </root>LF
//
// It is enciphered as a whole (aes.cpp). There is no temporary file and no renaming: a save
// truncates the file and rewrites it. It is tried again until the file can be opened; after a write
// that failed, only the next save tries again.
#include <orv/store/settings_file.hpp>

#include <orv/runtime/descriptor.hpp>
#include <orv/runtime/pause.hpp>
#include <orv/runtime/platform.hpp>
#include <orv/runtime/trace.h>
#include <orv/store/aes.hpp>
#include <orv/store/sconfig.hpp>
#include <orv/store/wipe.hpp>
#include <orv/store/xfile.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <string_view>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace ORV {

namespace {

using std::chrono::milliseconds;

constexpr char magic[] = {'O', 'R', 'V'};
// A settings file is recognised by its first block or, if that has been damaged, within this many
// bytes.
constexpr unsigned long beginning = 4096;
constexpr int key_bits = 256;
constexpr milliseconds open_pause(100);
constexpr milliseconds lock_pause(1);
constexpr int lock_tries = 100;

// While it lives, keeps processes that use it too from writing to the file, or from reading it, so
// that none of them reads half of one save and half of another. The lock is held for the duration
// of a write; should its holder have been stopped just then, we proceed without it.
class file_lock {
public:
    file_lock(int descriptor, int kind) : descriptor_(descriptor) {
        for (int tries = 0; tries < lock_tries; ++tries) {
            if (flock(descriptor_, kind | LOCK_NB) == 0 || errno != EWOULDBLOCK)
                return;
            runtime::sleep(lock_pause);
        }
    }
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;
    // Closing the file would not do: a process forked meanwhile has it open as well.
    ~file_lock() { flock(descriptor_, LOCK_UN); }

private:
    int descriptor_;
};

// Opens a file so that programs started by the host do not inherit it, and it never takes the place
// of a standard stream. A pipe does not block us.
int open_file(const char* path, int mode) {
    return runtime::behind_standard(open(path, mode | O_CLOEXEC | O_NONBLOCK, 0666));
}

// Hands a file to `owner`, or closes it if that fails; also false for a descriptor of -1.
bool give(int descriptor, const char* mode, xfile& owner) {
    owner.handle = descriptor < 0 ? nullptr : fdopen(descriptor, mode);
    if (!owner.handle && descriptor >= 0)
        close(descriptor);
    return owner.handle != nullptr;
}

// Opens an ordinary file like `fopen` with "rb". Anything else is left alone: opening a pipe would
// wait for its writer. What may replace the file after this check is not waited for.
bool open_to_read(xfile& in, const char* path) {
    return state_of(path).is_ordinary && give(open_file(path, O_RDONLY), "rb", in) &&
           state_of(fileno(in.handle)).is_ordinary;
}

// Reads on to the end of the file, or until there are `most` bytes.
void read_on(std::FILE* from, bin_t& bytes, unsigned long most) {
    char piece[256];
    unsigned long count = 1;
    while (count != 0 && bytes.length() < most) {
        count = std::fread(piece, 1, sizeof piece, from);
        bytes.append(piece, count);
    }
}

// True if everything has left the process.
bool write_all(std::FILE* to, const bin_t& bytes) {
    const char* at = bytes.data();
    for (unsigned long left = bytes.length(); left > 0;) {
        const unsigned long count = runtime::write_without_signal(to, at, left);
        if (count == 0 || count > left)
            return false;
        at += count;
        left -= count;
    }
    return true;
}

// Truncates the file to nothing and rewinds it. A pipe or a device has nothing to truncate.
bool cut(std::FILE* file) {
    const bool is_cut = ftruncate(fileno(file), 0) == 0 || !state_of(fileno(file)).is_ordinary;
    std::rewind(file);
    return is_cut;
}

unsigned long hash_of(const bin_t& bytes) {
    return std::hash<std::string_view>()({bytes.data(), bytes.length()});
}

bin_t decipher(const bin_t& bytes, unsigned char* key) {
    return aes::decrypt(bytes, key, key_bits);
}

// Usually the first block is enough.
bool begins_as_settings(const bin_t& bytes, unsigned char* key) {
    constexpr unsigned long block = 16;
    bin_t plain;
    for (const unsigned long count : {block, beginning}) {
        if (plain.length() < sizeof magic)
            plain = decipher(bin_t(bytes.data(), std::min(count, bytes.length())), key);
    }
    return plain.length() >= sizeof magic && std::memcmp(plain.data(), magic, sizeof magic) == 0;
}

// Reads a settings file to its end, but only the beginning of any other. True for a settings file.
bool read_settings(std::FILE* from, unsigned char* key, bin_t& bytes) {
    read_on(from, bytes, beginning);
    if (!begins_as_settings(bytes, key))
        return false;
    read_on(from, bytes, ~0ul);
    return true;
}

// A file opened for writing.
struct opened_file {
    xfile out;
    file_state before;
    bin_t old; // the settings that it held before it was truncated, if any
};

// Keeps the settings that the file holds now, if it holds any. False if that cannot be determined.
bool keep_settings(opened_file& of, unsigned char* key) {
    const int descriptor = fileno(of.out.handle);
    xfile in;
    if (!give(fcntl(descriptor, F_DUPFD_CLOEXEC, descriptor), "rb", in))
        return false;
    std::rewind(in.handle);
    bin_t bytes;
    if (read_settings(in.handle, key, bytes))
        of.old = std::move(bytes);
    return true;
}

// Opens the file like `fopen` with "w+b", which truncates it, but keeps the settings it held.
bool try_to_open(opened_file& opened, const char* path, unsigned char* key) {
    xfile& out = opened.out;
    if (!give(open_file(path, O_RDWR | O_CREAT), "w+b", out))
        return false;
    // Unbuffered, so that what counts as written has left the process, usually in one piece.
    std::setvbuf(out.handle, nullptr, _IONBF, 0);
    bool is_cut;
    {
        const file_lock lock(fileno(out.handle), LOCK_EX);
        opened.before = state_of(fileno(out.handle));
        is_cut = (opened.before.size == 0 || keep_settings(opened, key)) && cut(out.handle);
    }
    if (!is_cut)
        out.close();
    return is_cut;
}

enum class opening { done, no_room, too_late };

// `reason` becomes the `errno` of the last failure. The sleep and the trace follow every attempt,
// even a successful one: hosts that watch their traces find at least one, and those that open the
// file wait for as long.
opening open_to_write(opened_file& opened, const char* path, unsigned char* key, unsigned long size,
                      const runtime::deadline& limit, int& reason) {
    while (!limit.passed()) {
        const int lacking = lacking_room(path, size);
        const bool is_open = lacking == 0 && try_to_open(opened, path, key);
        reason = lacking != 0 ? lacking : errno;
        runtime::sleep(open_pause);
        ORV_trace4("openWrite again");
        if (lacking != 0)
            return opening::no_room;
        if (is_open)
            return opening::done;
    }
    return opening::too_late;
}

// Writes the bytes to the file. If they cannot all be written, puts back what it held, sets
// `reason` to the `errno` and returns false. If another process has saved since the file was
// opened, what that process wrote is put back.
bool replace_content(opened_file& opened, const bin_t& bytes, unsigned char* key, int& reason) {
    std::FILE* const out = opened.out.handle;
    if (state_of(fileno(out)).size != 0)
        keep_settings(opened, key);
    if (cut(out) && write_all(out, bytes))
        return true;
    reason = errno;
    cut(out);
    write_all(out, opened.old); // as far as possible
    return false;
}

} // namespace

bool file_content::load(xml::root& into) const {
    if (is_settings()) {
        const char* const text = plain.data() + sizeof magic;
        into.load(text, std::strlen(text));
    }
    return !is_empty && into.is_set(sconfig::marker);
}

settings_file::settings_file(const str_t& path, const str_t& key) : path_(path.c_str()) {
    std::memcpy(key_, key.c_str(), std::min<unsigned long>(key.length(), sizeof key_));
}

settings_file::~settings_file() { wipe(key_, sizeof key_); }

file_content settings_file::read() {
    file_content found;
    bin_t bytes;
    bool is_settings;
    {
        xfile in;
        if (!open_to_read(in, path_))
            return found;
        const file_lock lock(fileno(in.handle), LOCK_SH);
        found.state = state_of(fileno(in.handle));
        is_settings = read_settings(in.handle, key_, bytes);
        found.is_read = std::ferror(in.handle) == 0;
    }
    found.is_empty = bytes.empty();
    found.hash = hash_of(bytes);
    if (is_settings) {
        found.plain = decipher(bytes, key_);
        found.plain.add('\0');
    }
    return found;
}

bin_t settings_file::encipher(const str_t& text) {
    bin_t plain(magic, sizeof magic);
    plain.append(text.c_str(), text.length());
    return aes::encrypt(plain, key_, key_bits);
}

file_written settings_file::write(const runtime::deadline& limit, const bin_t& bytes) {
    ORV_trace4("openWrite %s", path_);
    file_written done;
    done.hash = hash_of(bytes);
    opened_file opened;
    const opening way = open_to_write(opened, path_, key_, bytes.length(), limit, done.reason);
    if (way == opening::no_room)
        ORV_trace4("openWrite::write"); // as if it had been tried
    if (way == opening::done) {
        const file_lock lock(fileno(opened.out.handle), LOCK_EX);
        ORV_trace4("openWrite::write");
        done.is_whole = replace_content(opened, bytes, key_, done.reason);
        if (done.is_whole)
            ORV_trace4("openWrite::write OK");
        done.before = opened.before;
        done.after = state_of(fileno(opened.out.handle));
    }
    if (!opened.out.close()) { // some file systems report it only now
        done.reason = errno;
        done.is_whole = false;
    }
    if (!done.is_whole)
        ORV_trace4("openWrite::write error");
    return done;
}

} // namespace ORV
