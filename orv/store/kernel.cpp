// The operations on settings, each under the lock of the document.
#include <orv/store/kernel.hpp>

#include <orv/buffers/text.hpp>
#include <orv/store/answer.hpp>
#include <orv/store/setting_path.hpp>
#include <orv/store/store.hpp>
#include <orv/xml/escape.hpp>
#include <orv/xml/name.hpp>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <unistd.h>
#include <utility>

namespace ORV {

using buffers::leading_int;
using buffers::or_empty;

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
    std::unique_ptr<store> fresh(new store(path, key));
    close();
    delete std::exchange(store_, fresh.release());
    return store_->open();
}

int kernel::close() { return store_->close(); }

int kernel::save() { return store_->save(sysconf(_SC_CLK_TCK)); }

bool kernel::wasAbsent() const { return store_->was_absent(); }

int kernel::reloads() const { return store_->reloads(); }

int kernel::getInt(const char* section, const char* key, int def) {
    const locked_settings held(*store_);
    const xml::item* setting = held.config.doc.get(section, key);
    return setting ? leading_int(or_empty(setting->value)) : def;
}

char* kernel::getString(const char* section, const char* key, char* buf, int& size,
                        const char* def) {
    const locked_settings held(*store_);
    const xml::item* setting = held.config.doc.get(section, key);
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
    std::memmove(buf, text, static_cast<unsigned long>(size)); // `def` may lie in `buf`
    buf[size] = 0; // one byte after those copied, as callers are told to expect
    return buf;
}

void kernel::setInt(const char* section, const char* key, int value) {
    settings_change(*store_).config.setInt(section, key, value);
}

void kernel::setString(const char* section, const char* key, const char* value) {
    const settings_change held(*store_);
    value = or_empty(value);
    bool created;
    xml::item* setting = held.config.doc.get(section, key, created);
    if (!created && std::strcmp(or_empty(setting->value), value) == 0)
        return;
    held.config.changed = true;
    setting->setText(value);
}

int kernel::setText(const char* section, const char* key, const char* text) {
    if (!is_writable(section, key))
        return 0;
    setString(section, key, xml::escape(text).c_str());
    return 1;
}

int kernel::getText(const char* section, const char* key, char* buf, int size, const char* def) {
    const locked_settings held(*store_);
    const xml::item* setting = held.config.doc.get(section, key);
    if (!setting)
        return answer(def, buf, size);
    return answer(xml::unescape(setting->value).c_str(), buf, size);
}

int kernel::remove(const char* section, const char* key) {
    const str_t path = joined(section, key);
    if (path.empty() || is_marker(path.c_str()))
        return 0;
    const settings_change held(*store_);
    while (held.config.doc.remove(path.c_str())) // there may be several of that name
        held.config.changed = true;
    return held.config.changed ? 1 : 0;
}

int kernel::getNames(const char* section, char* buf, int size) {
    const locked_settings held(*store_);
    xml::item* const parent = held.config.doc.get(section, nullptr);
    if (!parent)
        return answer(nullptr, buf, size);
    parent->is_set(""); // looking for a child parses the content
    str_t names;
    const char* last = "";
    for (unsigned long i = 0; i < parent->children.count; ++i) {
        const xml::item& child = parent->children.items[i];
        const char* const name = or_empty(child.name);
        const bool is_ours = parent == &held.config.doc && is_marker(name);
        if (xml::compare_names(name, last) != 0 && !is_ours)
            names.append(name, child.nameLength()).add('\n');
        last = name;
    }
    return answer(names.c_str(), buf, size);
}

} // namespace ORV
