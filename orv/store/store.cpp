// The worker checks the state of the file and reads a changed one into a document of its own,
// without the lock of the document. Only the two documents are exchanged under it:
//
//     host    get  get  set  get       get  get
//     worker      read, decipher, parse | exchange | drop the old one
//
// A save renders under that lock, and enciphers and writes without it.
#include <orv/store/store.hpp>

#include <orv/runtime/signals_blocked.hpp>
#include <orv/store/kernel.hpp>
#include <orv/store/wipe.hpp>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <unistd.h>

namespace ORV {

namespace {

using std::chrono::steady_clock;

constexpr long close_budget = 10000; // ticks
constexpr std::chrono::milliseconds pass_pause(500);
// A file is empty for a tenth of a second while it is being saved.
constexpr std::chrono::milliseconds look_pause(20);
constexpr int most_looks = 10;
// For this long a file that is not ours, or not complete, may be about to be saved; and two saves
// this close together may have the same time.
constexpr std::chrono::seconds patience(2);

// The first set that a thread has made since its last save, and in which store.
struct first_set {
    unsigned long store; // 0 for none
    unsigned long number;
};
thread_local first_set unsaved_here;

unsigned long next_id() {
    static std::atomic<unsigned long> last{0};
    return ++last;
}

str_t absolute(const char* path) {
    str_t whole;
    if (path && *path && *path != '/') {
        const std::unique_ptr<char, void (*)(void*)> directory(getcwd(nullptr, 0), std::free);
        if (directory)
            whole << directory.get() << "/";
    }
    return whole << path;
}

} // namespace

store::store() : id_(next_id()) {}

store::store(const char* path, const char* key) : id_(next_id()), path_(absolute(path)) {
    constexpr unsigned long key_size = 32;
    if (key)
        config_.cipherKey.append(key, strnlen(key, key_size));
}

store::~store() { stop(); }

bool store::open() {
    const bool loaded = load();
    config_.file = path_; // only now, so that a load that ran out of memory is never saved
    const runtime::signals_blocked on_the_worker;
    start();
    return loaded;
}

bool store::load() {
    settings_file file(path_, config_.cipherKey);
    bool loaded = false;
    for (int looks = 0; looks < most_looks && !loaded; ++looks) {
        if (looks != 0)
            runtime::sleep(look_pause);
        const file_content found = file.read();
        config_.doc.clear();
        loaded = found.load(config_.doc);
        if (loaded)
            know(found.state, found.hash);
        else if (found.is_read)
            refuse(found.state);
        const bool was_empty = found.is_read && found.is_empty;
        if (!was_empty && !state_of(path_.c_str()).is_empty())
            break; // nothing is about to be written
    }
    if (config_.doc.nameLength() == 0) // there was no element to read, and none could be saved
        config_.doc = xml::root("root");
    was_absent_ = !loaded && state_of(path_.c_str()).is_absent && can_be_made(path_.c_str());
    return loaded;
}

int store::close() {
    const int saved = save(close_budget); // first, as it may throw, and the store then stays open
    pause_.interrupt();
    stop();
    const std::lock_guard<critical> turn(turn_);
    const locked_settings held(*this);
    config_.file = nullptr;
    wipe(config_.cipherKey);
    config_.cipherKey.clear();
    config_.doc.clear();
    return saved;
}

int store::save(long budget) {
    const std::lock_guard<critical> turn(turn_);
    bool is_saved;
    {
        const locked_settings held(*this);
        is_saved = saved_ == sets_;
    }
    return result(is_saved || (!config_.file.empty() && write(budget)));
}

// Writes the document, and once more if another file has meanwhile replaced the one written.
bool store::write(long budget) {
    settings_file file(config_.file, config_.cipherKey);
    for (int tries = 0; tries < 2; ++tries) {
        unsigned long included = 0;
        const bin_t bytes = file.encipher(render(included));
        const file_written written = file.write(runtime::deadline(budget), bytes);
        // Our own changes to the file do not count as those of others, even if a save failed and
        // put back what was there.
        if (written.is_whole)
            know(written.after, written.hash);
        else if (!differs_in_content(written.before, known_))
            know(written.after, known_hash_);
        errno = written.reason;
        if (!written.is_whole)
            return false;
        if (is_same_file(written.after, state_of(path_.c_str()))) {
            saved_ = included;
            return true;
        }
    }
    errno = ESTALE;
    return false;
}

// The text of the document, with the owner's marker; `included` becomes the last set in it.
str_t store::render(unsigned long& included) {
    const locked_settings held(*this);
    bool created; // not a change by the host: the flag stays as it is
    held.config.doc.get(nullptr, sconfig::marker, created);
    included = sets_;
    str_t text;
    held.config.doc.saveF(text, 0);
    return text;
}

void store::know(const file_state& state, unsigned long hash) {
    known_ = state;
    known_hash_ = hash;
    known_at_ = steady_clock::now();
    is_settled_ = false;
    config_.fileTime = state.modified.tv_sec;
}

// Every thread that has set a value that was replaced since is told, and at least one in any case.
int store::result(bool is_saved) {
    if (!is_saved)
        return kernel::save_failed;
    const locked_settings held(*this);
    const bool is_ours = unsaved_here.store == id_ && unsaved_here.number <= replaced_;
    const bool is_told = is_ours || replaced_ != told_;
    told_ = replaced_;
    unsaved_here = {};
    return is_told ? kernel::save_replaced : kernel::save_ok;
}

int store::reloads() {
    const locked_settings held(*this);
    return reloads_;
}

int store::onRunStep(int) {
    if (!reload_if_changed() && !pause_.wait(pass_pause))
        return -1;
    return pause_.wait(pass_pause) ? 0 : -1;
}

// True if the file was changed and has been loaded.
bool store::reload_if_changed() {
    const std::lock_guard<critical> turn(turn_);
    const file_state now = state_of(path_.c_str());
    if (now.modified.tv_sec < 1 || !may_have_changed(now))
        return false;
    try {
        const file_content found = settings_file(path_, config_.cipherKey).read();
        if (!found.is_read)
            return false; // nothing has changed; the next pass tries again
        // Within the same second only different bytes are a change: some servers round times.
        if (found.state.modified.tv_sec == config_.fileTime && found.hash == known_hash_) {
            known_ = found.state;
            is_settled_ = true;
            return false;
        }
        xml::root fresh;
        if (!found.load(fresh)) {
            refuse(found.state);
            return false;
        }
        replace_document(fresh);
        know(found.state, found.hash);
    } catch (const std::bad_alloc&) {
        return false; // tried again later; the worker has no caller to take the exception
    }
    return true;
}

// Whether the file is to be read. A refused one is read again for a while, as it may be about to be
// saved, and after that only if anything about it has changed. A known one is read once more after
// a while even if nothing about it has changed: where file times are coarse, another process may
// have saved as many bytes at the same time.
bool store::may_have_changed(const file_state& state) {
    const auto now = steady_clock::now();
    if (!differs(state, refused_))
        return now - refused_at_ <= patience;
    return differs_in_content(state, known_) || (!is_settled_ && now - known_at_ > patience);
}

// The old document is freed with `by`, when nobody is waiting for it any more.
void store::replace_document(xml::root& by) {
    const locked_settings held(*this);
    held.config.doc.swap(by);
    held.config.changed = false;
    if (saved_ != sets_)
        replaced_ = sets_;
    saved_ = sets_;
    ++reloads_;
}

void store::refuse(const file_state& state) {
    if (!differs(state, refused_))
        return;
    refused_ = state;
    refused_at_ = steady_clock::now();
}

settings_change::~settings_change() {
    if (!config.changed) {
        config.changed = was_changed_;
        return;
    }
    ++of_.sets_;
    if (unsaved_here.store != of_.id_)
        unsaved_here = {of_.id_, of_.sets_};
}

} // namespace ORV
