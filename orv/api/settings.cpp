// The exported functions of the settings store: each forwards to the library object, if there is
// one.
#include <orv/orv.h>

#include <orv/api/unload.hpp>
#include <orv/store/answer.hpp>
#include <orv/store/kernel.hpp>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <unistd.h>

static_assert(ORV_SAVE_FAILED == int(ORV::kernel::save_failed));
static_assert(ORV_SAVE_OK == int(ORV::kernel::save_ok));
static_assert(ORV_SAVE_REPLACED == int(ORV::kernel::save_replaced));

ORV_kernel* g_Kernel;

namespace {

pid_t opener; // the process that made the library object; 0 without one

// A child made by fork has no worker to wait for, and the file is its parent's to save.
bool is_of_parent() { return opener != 0 && opener != getpid(); }

// The result of `call`; if memory runs out, 0, and empty text in `buf`.
template <class Call>
int without_exceptions(Call call, char* buf = nullptr, int size = 0) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        ORV::answer(nullptr, buf, size);
        errno = ENOMEM;
        return 0;
    }
}

} // namespace

int ORV_open(const char* path, const char* key) {
    constexpr unsigned long key_bytes = 32;
    if (!path || !*path || !key || strnlen(key, key_bytes) < key_bytes)
        return ORV_OPEN_REFUSED;
    std::unique_ptr<ORV::kernel> fresh(new ORV::kernel); // first, as it may fail
    ORV_close();
    const bool loaded = fresh->open(path, key);
    g_Kernel = fresh.release();
    opener = getpid();
    if (loaded)
        return ORV_OPEN_LOADED;
    return g_Kernel->wasAbsent() ? ORV_OPEN_NEW : ORV_OPEN_UNREADABLE;
}

int ORV_close() {
    errno = 0;
    if (is_of_parent())
        return ORV_SAVE_FAILED;
    if (!g_Kernel)
        return ORV_SAVE_OK;
    const int saved = g_Kernel->close(); // passes exceptions on, with the values unchanged
    const int reason = errno;
    delete g_Kernel;
    g_Kernel = nullptr;
    opener = 0;
    errno = reason;
    return saved;
}

int ORV_save() {
    errno = 0;
    if (is_of_parent())
        return ORV_SAVE_FAILED;
    return without_exceptions([] { return g_Kernel ? g_Kernel->save() : ORV_SAVE_OK; });
}

void api::close_forgotten_store() {
    if (g_Kernel && opener == getpid())
        without_exceptions([] { return g_Kernel->close(); });
}

int ORVSC_Reloads() { return g_Kernel ? g_Kernel->reloads() : 0; }

int ORVSC_GetInt(const char* section, const char* key, int def) {
    return g_Kernel ? g_Kernel->getInt(section, key, def) : def;
}

const char* ORVSC_GetString(const char* section, const char* key, char* buf, int* size,
                            const char* def) {
    if (!g_Kernel)
        return def;
    int none = 0;
    return g_Kernel->getString(section, key, buf, size ? *size : none, def);
}

void ORVSC_SetInt(const char* section, const char* key, int value) {
    if (g_Kernel)
        g_Kernel->setInt(section, key, value);
}

void ORVSC_SetString(const char* section, const char* key, const char* value) {
    if (g_Kernel)
        g_Kernel->setString(section, key, value);
}

int ORVSC_SetText(const char* section, const char* key, const char* text) {
    return without_exceptions([&] { return g_Kernel ? g_Kernel->setText(section, key, text) : 0; });
}

int ORVSC_GetText(const char* section, const char* key, char* buf, int size, const char* def) {
    return without_exceptions(
        [&] {
            return g_Kernel ? g_Kernel->getText(section, key, buf, size, def)
                            : ORV::answer(def, buf, size);
        },
        buf, size);
}

int ORVSC_Remove(const char* section, const char* key) {
    return without_exceptions([&] { return g_Kernel ? g_Kernel->remove(section, key) : 0; });
}

int ORVSC_GetNames(const char* section, char* buf, int size) {
    return without_exceptions([&] {
        return g_Kernel ? g_Kernel->getNames(section, buf, size) : ORV::answer(nullptr, buf, size);
    });
}
