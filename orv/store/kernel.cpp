// The worker looks at the file's modification time and reads a changed file into a document of its
// own, without the store lock. Only the exchange of the two documents is made under it:
//
//     host    get  get  set  get       get  get
//     worker      read, decipher, parse | exchange | drop the old one
#include <orv/store/kernel.hpp>

#include <orv/buffers/text.hpp>
#include <orv/runtime/critical.hpp>
#include <orv/runtime/pause.hpp>
#include <orv/runtime/thread.hpp>
#include <orv/store/file_state.hpp>
#include <orv/store/sconfig.hpp>
#include <orv/store/wipe.hpp>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unistd.h>
#include <utility>

namespace ORV {

using buffers::or_empty;

namespace {

constexpr std::chrono::milliseconds pass_pause(500);

} // namespace

class store : public thread {
public:
    sconfig config;
    critical lock; // around each use of the document while the worker runs, never across a pause
    runtime::pause pause;
    bool absent = false;

private:
    int onRunStep(int step) override;
    bool reload_if_changed();
};

kernel::kernel() : store_(new store) {}

kernel::~kernel() {
    try {
        close();
    } catch (const std::bad_alloc&) {
        // There is nobody left to tell.
    }
    delete store_;
}

bool kernel::open(const char* path, const char* key) {
    str_t new_file(path);
    str_t new_key(key);
    close();
    // From here on nothing fails but the load.
    sconfig& config = store_->config;
    config.file = std::move(new_file);
    wipe(config.cipherKey);
    config.cipherKey = std::move(new_key);
    file_state state{};
    bool loaded = false;
    try {
        // A file is empty for a tenth of a second while it is being saved; what is about to come is
        // waited for.
        for (int looks = 0; looks < 10 && !loaded; ++looks) {
            if (looks != 0)
                usleep(20000);
            // The state is taken first: a change made while we read is seen by the worker.
            state = state_of(config.file.c_str());
            config.doc.clear();
            loaded = config.readV();
            if (!state.empty && !state_of(config.file.c_str()).empty)
                break;
        }
        if (config.doc.nameLength() == 0) // there was no element to read, and none could be saved
            config.doc = xml::root("root");
        store_->absent = !loaded && (state.empty || (state.absent && has_folder(config.file)));
    } catch (...) {
        config.file.clear(); // not open, so that no close writes a file that was not read
        throw;
    }
    config.fileTime = loaded ? state.time : 0;
    store_->pause.reset();
    store_->start();
    return loaded;
}

void kernel::close() {
    store_->pause.interrupt();
    store_->stop();
    sconfig& config = store_->config;
    if (config.file.empty())
        return;
    if (config.changed) {
        bool created; // no change of the host's: the flag stays as it is
        config.doc.get(nullptr, sconfig::marker, created);
    }
    config.flush();
    config.file = nullptr;
    config.doc.clear();
}

bool kernel::wasAbsent() const { return store_->absent; }

int store::onRunStep(int) {
    if (!reload_if_changed() && !pause.wait(pass_pause))
        return -1;
    return pause.wait(pass_pause) ? 0 : -1;
}

// True if the file was changed and has been loaded.
bool store::reload_if_changed() {
    const long time = state_of(config.file.c_str()).time;
    if (time < 1 || time == config.fileTime)
        return false;
    try {
        sconfig fresh;
        fresh.file = config.file;
        fresh.cipherKey = config.cipherKey;
        if (!fresh.readV())
            return false; // and nothing has changed; the next pass tries again
        const std::lock_guard<critical> guard(lock);
        config.doc.swap(fresh.doc); // which goes after the lock has
        config.changed = false;
    } catch (const std::bad_alloc&) {
        return false; // to be tried again: the worker has nobody to pass the exception to
    }
    config.fileTime = time;
    return true;
}

int kernel::getInt(const char* section, const char* key, int def) {
    const std::lock_guard<critical> guard(store_->lock);
    const xml::item* setting = store_->config.doc.get(section, key);
    return setting ? std::atoi(or_empty(setting->value)) : def;
}

char* kernel::getString(const char* section, const char* key, char* buf, int& size,
                        const char* def) {
    const std::lock_guard<critical> guard(store_->lock);
    const xml::item* setting = store_->config.doc.get(section, key);
    const char* text = or_empty(setting ? setting->value : def);
    const unsigned long length = std::strlen(text) + 1;
    const int whole = length > INT_MAX ? INT_MAX : static_cast<int>(length);
    if (!buf) {
        size = whole;
        return nullptr;
    }
    if (size > whole)
        size = whole;
    if (size < 0)
        size = 0;
    std::memmove(buf, text, static_cast<unsigned long>(size)); // `def` may stand in `buf`
    buf[size] = 0; // one byte behind those copied, as callers are told to expect
    return buf;
}

void kernel::setInt(const char* section, const char* key, int value) {
    const std::lock_guard<critical> guard(store_->lock);
    store_->config.setInt(section, key, value);
}

void kernel::setString(const char* section, const char* key, const char* value) {
    const std::lock_guard<critical> guard(store_->lock);
    sconfig& config = store_->config;
    value = or_empty(value);
    bool created;
    xml::item* setting = config.doc.get(section, key, created);
    if (!created && std::strcmp(or_empty(setting->value), value) == 0)
        return;
    config.changed = true;
    setting->setText(value);
}

} // namespace ORV
