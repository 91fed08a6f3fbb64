// The exported functions of the settings store: each forwards to the library object, if there is
// one.
#include <orv/orv.h>

#include <orv/store/kernel.hpp>

#include <cstring>
#include <memory>
#include <unistd.h>

ORV_kernel* g_Kernel;

namespace {

pid_t opener; // the process that made the library object; 0 before there was one

} // namespace

int ORV_open(const char* path, const char* key) {
    constexpr unsigned long key_bytes = 32;
    if (!path || !*path || !key || strnlen(key, key_bytes) < key_bytes)
        return ORV_OPEN_REFUSED;
    // A library object of its own for each store: one that has saved stays marked as changed, and
    // would save again, over a file that the next open could not read.
    std::unique_ptr<ORV::kernel> fresh(new ORV::kernel);
    ORV_close();
    const bool loaded = fresh->open(path, key);
    g_Kernel = fresh.release();
    opener = getpid();
    if (loaded)
        return ORV_OPEN_LOADED;
    return g_Kernel->wasAbsent() ? ORV_OPEN_NEW : ORV_OPEN_UNREADABLE;
}

void ORV_close() {
    // A child made by fork has no worker to wait for, and the file is its parent's to save.
    if (opener != 0 && opener != getpid())
        return;
    if (g_Kernel)
        g_Kernel->close(); // passes an exception on, with the values as they were
    delete g_Kernel;
    g_Kernel = nullptr;
}

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
