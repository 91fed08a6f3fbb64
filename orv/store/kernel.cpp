#include <orv/store/kernel.hpp>

#include <orv/store/file_state.hpp>
#include <orv/store/wipe.hpp>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unistd.h>
#include <utility>

namespace ORV {

namespace {

constexpr std::chrono::milliseconds pass_pause(500);

const char* or_empty(const char* text) { return text ? text : ""; }

} // namespace

kernel::~kernel() {
    try {
        close();
    } catch (const std::bad_alloc&) {
        // There is nobody left to tell.
    }
}

bool kernel::open(const char* path, const char* key) {
    str_t new_file(path);
    str_t new_key(key);
    close();
    // From here on nothing fails but the load.
    config_.file = std::move(new_file);
    wipe(config_.cipherKey);
    config_.cipherKey = std::move(new_key);
    config_.doc.clear();
    file_state state{};
    bool loaded = false;
    try {
        // A file is empty for a tenth of a second while it is being saved; what is about to come is
        // waited for.
        for (int looks = 0; looks < 10 && !loaded; ++looks) {
            if (looks != 0)
                usleep(20000);
            // The state is taken first: a change made while we read is seen by the worker.
            state = state_of(config_.file.c_str());
            loaded = load();
            if (!state.empty && !state_of(config_.file.c_str()).empty)
                break;
        }
    } catch (...) {
        config_.file.clear(); // not open, so that no close writes a file that was not read
        throw;
    }
    absent_ = state.absent || state.empty;
    config_.fileTime = loaded ? state.time : 0;
    pause_.reset();
    start();
    return loaded;
}

void kernel::close() {
    pause_.interrupt();
    stop();
    if (config_.file.empty())
        return;
    if (config_.changed) {
        bool created; // no change of the host's: the flag stays as it is
        config_.doc.get(nullptr, sconfig::marker, created);
    }
    config_.flush();
    config_.file = nullptr;
    config_.doc.clear();
}

// Has the store read its file. If that fails, the document and the changed flag are what they were.
bool kernel::load() {
    xml::root kept;
    kept.swap(config_.doc);
    const bool kept_changed = config_.changed;
    const auto put_back = [&] {
        config_.doc.swap(kept);
        config_.changed = kept_changed;
    };
    try {
        if (config_.readV())
            return true;
    } catch (...) {
        put_back();
        throw;
    }
    put_back();
    return false;
}

int kernel::onRunStep(int) {
    if (!reloadIfChanged() && !pause_.wait(pass_pause))
        return -1;
    return pause_.wait(pass_pause) ? 0 : -1;
}

// True if the file was changed and has been loaded.
bool kernel::reloadIfChanged() {
    const long time = state_of(config_.file.c_str()).time;
    if (time < 1 || time == config_.fileTime)
        return false;
    const std::lock_guard<critical> guard(lock_);
    try {
        if (!load())
            return false;
    } catch (const std::bad_alloc&) {
        return false; // to be tried again: the worker has nobody to pass the exception to
    }
    config_.fileTime = time;
    return true;
}

int kernel::getInt(const char* section, const char* key, int def) {
    const std::lock_guard<critical> guard(lock_);
    const xml::item* setting = config_.doc.get(section, key);
    return setting ? std::atoi(or_empty(setting->value)) : def;
}

char* kernel::getString(const char* section, const char* key, char* buf, int& size,
                        const char* def) {
    const std::lock_guard<critical> guard(lock_);
    const xml::item* setting = config_.doc.get(section, key);
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
    const std::lock_guard<critical> guard(lock_);
    config_.setInt(section, key, value);
}

void kernel::setString(const char* section, const char* key, const char* value) {
    const std::lock_guard<critical> guard(lock_);
    value = or_empty(value);
    bool created;
    xml::item* setting = config_.doc.get(section, key, created);
    if (!created && std::strcmp(or_empty(setting->value), value) == 0)
        return;
    config_.changed = true;
    setting->setText(value);
}

} // namespace ORV
