// Settings that can tell whether they are whole: every value says who wrote it and which one it is,
// and ends with a check over itself.
#pragma once

#include <orv/orv.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace stress {

constexpr char key_text[] = "a key text of which 32 bytes count";
constexpr char section[] = "stress/settings";
constexpr int setting_count = 300;
constexpr int value_size = 128;

inline void write_name(char* to, int index) { std::snprintf(to, 16, "key%03d", index); }

inline unsigned check_of(const char* bytes, unsigned long count) {
    unsigned hash = 2166136261u; // FNV-1a
    for (unsigned long i = 0; i < count; ++i)
        hash = (hash ^ static_cast<unsigned char>(bytes[i])) * 16777619u;
    return hash;
}

// Lengths depend on the writer's stamp, so that the files of two writers differ in size.
inline void write_value(char* to, unsigned stamp, int index) {
    const int length =
        std::snprintf(to, value_size, "%u.%d.%.*s.", stamp, index, static_cast<int>(stamp % 41),
                      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
    const unsigned long so_far = static_cast<unsigned long>(length);
    std::snprintf(to + so_far, value_size - so_far, "%08x", check_of(to, so_far));
}

// The stamp of a value that is whole and belongs to `index`; 0 for any other text.
inline unsigned stamp_of(const char* value, int index) {
    const char* const end = std::strrchr(value, '.');
    unsigned stamp;
    int found;
    if (!end || std::sscanf(value, "%u.%d.", &stamp, &found) != 2 || found != index)
        return 0;
    char expected[value_size];
    write_value(expected, stamp, index);
    return std::strcmp(value, expected) == 0 ? stamp : 0;
}

inline void set_all(unsigned stamp) {
    for (int i = 0; i < setting_count; ++i) {
        char name[16];
        char value[value_size];
        write_name(name, i);
        write_value(value, stamp, i);
        ORVSC_SetString(section, name, value);
    }
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
        char name[16];
        char value[value_size + 1];
        int size = value_size;
        write_name(name, i);
        const char missing[] = "?";
        ORVSC_GetString(section, name, value, &size, missing);
        found.note(std::strcmp(value, missing) == 0 ? nullptr : value, i);
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
        ORV::xfile file;
        char byte;
        empty = !file.open(path, "rb") || std::fread(&byte, 1, 1, file.handle) == 0;
        config.changed = false;
        for (int i = 0; i < setting_count; ++i) {
            char name[16];
            write_name(name, i);
            const xml::item* setting = config.doc.get(section, name);
            found.note(setting ? setting->value : nullptr, i);
        }
    }
};

} // namespace stress
