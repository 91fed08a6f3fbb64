#include <orv/store/sconfig.hpp>

#include <orv/buffers/text.hpp>
#include <orv/runtime/trace.h>
#include <orv/store/settings_file.hpp>
#include <orv/store/wipe.hpp>

#include <cerrno>
#include <cstdio>
#include <new>

namespace ORV {

namespace {

constexpr long save_budget = 10000; // ticks

} // namespace

const char* const sconfig::marker = "~ORV";

sconfig::sconfig() : doc("root") {}

sconfig::~sconfig() {
    try {
        flush();
    } catch (const std::bad_alloc&) {
        // There is nobody left to tell; the file stays as it was.
    }
    wipe(cipherKey);
}

bool sconfig::readV() {
    if (file.empty())
        return false;
    const file_content found = settings_file(file, cipherKey).read();
    const bool is_whole = found.load(doc);
    if (found.is_settings())
        changed = false;
    return is_whole;
}

bool sconfig::writeV(long timeout) {
    if (file.empty()) {
        ORV_trace4("openWrite::write error");
        return false;
    }
    const runtime::deadline limit(timeout);
    settings_file to(file, cipherKey);
    bin_t bytes;
    if (!limit.passed()) { // otherwise they would not be written
        str_t text;
        doc.saveF(text, 0);
        bytes = to.encipher(text);
    }
    const file_written written = to.write(limit, bytes);
    if (!written.is_whole)
        errno = written.reason;
    return written.is_whole;
}

void sconfig::setInt(const char* section, const char* key, int value) {
    bool created;
    xml::item* setting = doc.get(section, key, created);
    // Compared as numbers on purpose: 5 leaves "5abc" as it is, and 0 leaves an empty value.
    if (!created && buffers::leading_int(buffers::or_empty(setting->value)) == value)
        return;
    changed = true;
    char digits[20];
    std::snprintf(digits, sizeof digits, "%d", value);
    setting->setText(digits);
}

void sconfig::flush() {
    if (changed && writeV(save_budget))
        fileTime = state_of(file.c_str()).modified.tv_sec;
}

} // namespace ORV
