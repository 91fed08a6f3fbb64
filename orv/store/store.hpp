// An open store: the settings document, its file, and the worker that takes over what others save.
// Not installed.
#pragma once

#include <orv/runtime/critical.hpp>
#include <orv/runtime/pause.hpp>
#include <orv/runtime/thread.hpp>
#include <orv/store/file_state.hpp>
#include <orv/store/sconfig.hpp>
#include <orv/store/settings_file.hpp>

#include <chrono>
#include <mutex>
#include <utility>

namespace ORV {

// Two locks are taken in this order. The turn is for the file: a save holds it from rendering until
// the state of the file is noted, a reload from checking that state until the documents are
// exchanged, so that neither replaces something new with something old. The other is for the
// document, and is held only briefly.
class store : public thread {
public:
    // Without a file.
    store();
    // For the file at `path`. At most 32 bytes of `key` are read, and none after its NUL.
    store(const char* path, const char* key);
    ~store() override;

    // Reads the file and starts the worker. True if a whole document of ours was loaded.
    bool open();
    // Saves and stops the worker. Afterwards there is no file, and the document is empty.
    int close();
    // Saves what is unsaved, with `budget` ticks to open the file. Returns a `kernel::saved`.
    int save(long budget);

    bool was_absent() const { return was_absent_; }
    int reloads();

private:
    friend class locked_settings;
    friend class settings_change;

    bool load();
    bool write(long budget);
    str_t render(unsigned long& included);
    void know(const file_state& state, unsigned long hash);
    int result(bool is_saved);
    int onRunStep(int step) override;
    bool reload_if_changed();
    void replace_document(xml::root& by);
    bool may_have_changed(const file_state& state);
    void refuse(const file_state& state);

    const unsigned long id_; // different for each store of the process
    const str_t path_;
    runtime::pause pause_;
    bool was_absent_ = false;

    critical turn_;
    file_state known_; // the file as we last read or wrote it
    unsigned long known_hash_ = 0;
    std::chrono::steady_clock::time_point known_at_;
    bool is_settled_ = true; // any change since would show in its time
    file_state refused_;     // the file when it was first found not to be ours, or not complete
    std::chrono::steady_clock::time_point refused_at_;

    critical lock_;
    sconfig config_;
    unsigned long sets_ = 0;     // how many have changed the document
    unsigned long saved_ = 0;    // the last of them that is in the file, or has been replaced
    unsigned long replaced_ = 0; // the last of them that another process's values have replaced
    unsigned long told_ = 0;     // the value of `replaced_` that a save last reported
    int reloads_ = 0;
};

// Access to the settings: holds the lock of the document for as long as it lives.
class locked_settings {
public:
    explicit locked_settings(store& of) : config(of.config_), of_(of), guard_(of.lock_) {}

    sconfig& config;

protected:
    store& of_;

private:
    const std::lock_guard<critical> guard_;
};

// Access that may change the document; if `config.changed` is then set, the change is counted.
class settings_change : public locked_settings {
public:
    explicit settings_change(store& of)
        : locked_settings(of), was_changed_(std::exchange(config.changed, false)) {}
    settings_change(const settings_change&) = delete;
    settings_change& operator=(const settings_change&) = delete;
    ~settings_change();

private:
    const bool was_changed_;
};

} // namespace ORV
