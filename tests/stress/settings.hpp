// Settings that can tell whether they are whole: every value says who wrote it and which one it is,
// and ends with a check over itself.
#pragma once

#include <orv/orv.hpp>

#include <cstdio>
#include <functional>
#include <string>

namespace stress {

constexpr char key_text[] = "a key text of which 32 bytes count";
constexpr char section[] = "stress/settings";
constexpr int setting_count = 300;

inline std::string name_of(int index) { return "key" + std::to_string(100 + index); }

// Lengths depend on the writer's stamp, so that the files of two writers differ in size.
inline std::string value_of(unsigned stamp, int index) {
    const std::string text = std::to_string(stamp) + "." + std::to_string(index) + "." +
                             std::string(stamp % 41, 'x') + ".";
    return text + std::to_string(std::hash<std::string>()(text));
}

// The stamp of a value that is whole and belongs to `index`; 0 for any other text.
inline unsigned stamp_of(const char* value, int index) {
    const unsigned stamp = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
    return value_of(stamp, index) == value ? stamp : 0;
}

inline void set_all(unsigned stamp) {
    for (int i = 0; i < setting_count; ++i)
        ORVSC_SetString(section, name_of(i).c_str(), value_of(stamp, i).c_str());
}

struct findings {
    int whole = 0;
    int missing = 0;
    int damaged = 0;
    unsigned first_stamp = 0; // of the first setting, 0 if it is not whole

    bool all_whole() const { return whole == setting_count; }
    void note(const char* value, int index) {
        const unsigned stamp = value ? stamp_of(value, index) : 0;
        if (index == 0)
            first_stamp = stamp;
        ++(!value ? missing : stamp == 0 ? damaged : whole);
    }
};

// Looks through the open store.
inline findings look_through_store() {
    findings found;
    for (int i = 0; i < setting_count; ++i) {
        char value[129];
        int size = sizeof value - 1;
        const char missing[] = "?";
        ORVSC_GetString(section, name_of(i).c_str(), value, &size, missing);
        found.note(std::string(value) == missing ? nullptr : value, i);
    }
    return found;
}

// What a file holds, read once, without a library object.
struct file_content {
    bool loads = false;      // with every setting, or some or none of them
    bool incomplete = false; // does not load, though it is ours: cut short
    bool empty = false;      // or absent
    findings found;

    explicit file_content(const char* path) {
        ORV::sconfig config;
        config.file = path;
        config.cipherKey = key_text;
        config.changed = true; // a load that gets as far as the document clears it
        loads = config.readV();
        incomplete = !loads && !config.changed;
        config.changed = false;
        ORV::xfile file;
        empty = !file.open(path, "rb") || std::fgetc(file.handle) == EOF;
        for (int i = 0; i < setting_count; ++i) {
            const xml::item* setting = config.doc.get(section, name_of(i).c_str());
            found.note(setting ? setting->value : nullptr, i);
        }
    }
};

} // namespace stress
