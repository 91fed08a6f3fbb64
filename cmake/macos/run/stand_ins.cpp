#include "stand_ins.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace stand_ins {

std::string executable;
int bundle_objects = 0;
std::vector<int> signals_sent;
bool peer_hung_up = false;

namespace {

// --- errno: the numbers that differ.

int* error_number() {
    static const std::map<int, int> numbers = {
        {EAGAIN, 35},    {EINPROGRESS, 36}, {EALREADY, 37},     {EISCONN, 56},
        {ETIMEDOUT, 60}, {ECONNRESET, 54},  {ECONNREFUSED, 61}, {EHOSTUNREACH, 65},
    };
    thread_local int number;
    const auto found = numbers.find(errno);
    number = found == numbers.end() ? errno : found->second;
    return &number;
}

// --- Files, and the rates of clocks.

struct macos_stat {
    std::int32_t device;
    std::uint16_t mode, links;
    std::uint64_t inode;
    std::uint32_t user, group;
    std::int32_t special_device, padding;
    timespec accessed, modified, changed, born;
    std::int64_t size, blocks;
    std::int32_t block_size;
    std::uint32_t flags, generation;
    std::int32_t spare;
    std::int64_t spares[2];
};
static_assert(sizeof(macos_stat) == 144);

int stat_file(const char* path, macos_stat* result) {
    struct stat found;
    if (stat(path, &found) != 0)
        return -1;
    *result = {};
    result->mode = static_cast<std::uint16_t>(found.st_mode);
    result->modified = found.st_mtim;
    result->size = found.st_size;
    return 0;
}

long configuration(int name) {
    constexpr int clock_ticks = 3;
    return name == clock_ticks ? sysconf(_SC_CLK_TCK) : -1;
}

// --- Sockets. An address begins with its length and a family of one byte.

int connect_socket(int socket, const unsigned char* address, socklen_t length) {
    sockaddr_in converted;
    if (length != sizeof converted || address[1] != AF_INET) {
        errno = EINVAL;
        return -1;
    }
    std::memcpy(&converted, address, sizeof converted);
    converted.sin_family = address[1];
    return connect(socket, reinterpret_cast<sockaddr*>(&converted), sizeof converted);
}

int set_socket_option(int, int, int, const void*, socklen_t length) {
    errno = length < sizeof(timeval) ? EINVAL : 0;
    return errno == 0 ? 0 : -1;
}

long send_bytes(int socket, const void* bytes, unsigned long count, int flags) {
    if (!peer_hung_up)
        return send(socket, bytes, count, flags);
    raise(SIGPIPE);
    errno = EPIPE;
    return -1;
}

// --- Signals. A set is 32 bits; of those, SIGPIPE alone is passed on.

constexpr std::uint32_t pipe_bit = 1u << (SIGPIPE - 1);

sigset_t pipe_set() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

int signal_mask(int how, const std::uint32_t* set, std::uint32_t* old) {
    constexpr int block = 1, replace = 3;
    const sigset_t pipe = pipe_set();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    if (old)
        *old = sigismember(&before, SIGPIPE) == 1 ? pipe_bit : 0;
    if (!set)
        return 0;
    if (how == block && !(*set & pipe_bit))
        return 0;
    if (how != block && how != replace)
        return EINVAL;
    return pthread_sigmask(*set & pipe_bit ? SIG_BLOCK : SIG_UNBLOCK, &pipe, nullptr);
}

int pending_signals(std::uint32_t* set) {
    sigset_t pending;
    sigpending(&pending);
    *set = sigismember(&pending, SIGPIPE) == 1 ? pipe_bit : 0;
    return 0;
}

int wait_for_signal(const std::uint32_t* set, int* number) {
    const sigset_t pipe = pipe_set();
    return *set == pipe_bit ? sigwait(&pipe, number) : EINVAL;
}

int send_signal(pthread_t, int number) {
    signals_sent.push_back(number);
    return ESRCH; // the thread has been joined
}

// --- The C++ runtime. Its mutex is a pthread_mutex_t of 64 bytes that begins with a signature of 8
// and has only zeros behind it: an unlocked mutex of Linux. A condition does not fit likewise.

static_assert(sizeof(pthread_mutex_t) <= 56);

pthread_mutex_t* native(char* mutex) { return reinterpret_cast<pthread_mutex_t*>(mutex + 8); }
void lock(char* mutex) { pthread_mutex_lock(native(mutex)); }
void unlock(char* mutex) { pthread_mutex_unlock(native(mutex)); }
void destroy_mutex(char* mutex) { pthread_mutex_destroy(native(mutex)); }

struct macos_lock {
    char* mutex;
    void lock() { stand_ins::lock(mutex); }
    void unlock() { stand_ins::unlock(mutex); }
};

std::mutex conditions_lock;
std::map<void*, std::condition_variable_any> conditions;

std::condition_variable_any& condition(void* object) {
    const std::lock_guard<std::mutex> guard(conditions_lock);
    return conditions[object];
}

void notify_all(void* object) { condition(object).notify_all(); }
void destroy_condition(void* object) {
    const std::lock_guard<std::mutex> guard(conditions_lock);
    conditions.erase(object);
}
void wait_until(void* object, macos_lock* held, long nanoseconds) {
    const std::chrono::nanoseconds since_epoch(nanoseconds);
    condition(object).wait_until(*held, std::chrono::system_clock::time_point(since_epoch));
}

long steady_nanoseconds() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
long system_microseconds() {
    return std::chrono::system_clock::now().time_since_epoch().count() / 1000;
}

struct finaliser {
    void (*function)(void*);
    void* argument;
    const void* base;
};
std::vector<finaliser> finalisers;

int at_unload(void (*function)(void*), void* argument, void* base) {
    finalisers.push_back({function, argument, base});
    return 0;
}

std::uintptr_t stack_guard = 0x57AC6A2D;
[[noreturn]] void stack_overrun() { throw std::runtime_error("the stack was overrun"); }
[[noreturn]] void unexpected() { throw std::runtime_error("a call of what is never called"); }
void zero(void* memory, unsigned long size) { std::memset(memory, 0, size); }

// --- CoreFoundation: objects that are only counted.

int bundle, url, path;

void* main_bundle() { return &bundle; }
void* copy_url(void* of) { return of == &bundle ? ++bundle_objects, &url : nullptr; }
void* copy_path(void* of, long style) {
    return of == &url && style == 0 ? ++bundle_objects, &path : nullptr;
}
unsigned char get_text(void* of, char* buffer, long size, std::uint32_t encoding) {
    constexpr std::uint32_t ascii = 0x0600;
    if (of != &path || encoding != ascii || static_cast<long>(executable.size()) >= size)
        return 0;
    std::memcpy(buffer, executable.c_str(), executable.size() + 1);
    return 1;
}
void release(void*) { --bundle_objects; }

template <class Type>
void* address(Type* of) {
    return reinterpret_cast<void*>(of);
}

const std::map<std::string, void*>& own() {
    static const std::map<std::string, void*> functions = {
        {"___bzero", address(zero)},
        {"___cxa_atexit", address(at_unload)},
        {"___error", address(error_number)},
        {"___stack_chk_fail", address(stack_overrun)},
        {"___stack_chk_guard", address(&stack_guard)},
        {"dyld_stub_binder", address(unexpected)},
        {"_connect", address(connect_socket)},
        {"_pthread_kill", address(send_signal)},
        {"_pthread_sigmask", address(signal_mask)},
        {"_send", address(send_bytes)},
        {"_setsockopt", address(set_socket_option)},
        {"_sigpending", address(pending_signals)},
        {"_sigwait", address(wait_for_signal)},
        {"_stat$INODE64", address(stat_file)},
        {"_sysconf", address(configuration)},
        {"_CFBundleGetMainBundle", address(main_bundle)},
        {"_CFBundleCopyExecutableURL", address(copy_url)},
        {"_CFURLCopyFileSystemPath", address(copy_path)},
        {"_CFStringGetCString", address(get_text)},
        {"_CFRelease", address(release)},
        {"__ZNSt3__15mutex4lockEv", address(lock)},
        {"__ZNSt3__15mutex6unlockEv", address(unlock)},
        {"__ZNSt3__15mutexD1Ev", address(destroy_mutex)},
        {"__ZNSt3__118condition_variable10notify_allEv", address(notify_all)},
        {"__ZNSt3__118condition_variableD1Ev", address(destroy_condition)},
        {"__ZNSt3__118condition_variable15__do_timed_waitERNS_11unique_lockINS_5mutexEEENS_6chrono"
         "10time_pointINS5_12system_clockENS5_8durationIxNS_5ratioILl1ELl1000000000EEEEEEE",
         address(wait_until)},
        {"__ZNSt3__16chrono12steady_clock3nowEv", address(steady_nanoseconds)},
        {"__ZNSt3__16chrono12system_clock3nowEv", address(system_microseconds)},
    };
    return functions;
}

// Functions of the C library that take and give the same on both systems.
constexpr char alike[] =
    " "
    "atoi close fclose fileno flock fopen fread fseek fwrite gethostbyname getpid inet_addr "
    "localtime_r memchr memcmp memcpy memmove memset poll pthread_create pthread_equal "
    "pthread_join pthread_mutex_destroy pthread_mutex_init pthread_mutex_lock "
    "pthread_mutex_unlock pthread_self recv setvbuf snprintf socket strcasecmp strcmp strcspn "
    "strftime strlen strncasecmp strncmp strnlen strtol time times usleep vsnprintf ";

} // namespace

void* find(const std::string& symbol) {
    const auto written = own().find(symbol);
    if (written != own().end())
        return written->second;
    const std::string name = symbol.substr(1);
    // libc++ on Linux lays its strings out like the one on macOS. Exceptions of the C++ runtime are
    // found in it too, but cannot be thrown: the tables for that are not registered.
    static void* const runtime = dlopen("libc++.so.1", RTLD_NOW | RTLD_LOCAL);
    const bool of_runtime = name[0] == '_';
    void* const found = of_runtime ? dlsym(runtime, name.c_str())
                        : std::strstr(alike, (' ' + name + ' ').c_str())
                            ? dlsym(RTLD_DEFAULT, name.c_str())
                            : nullptr;
    if (!found)
        throw std::runtime_error("cmake/macos/run/stand_ins.cpp has no stand-in for " + symbol);
    return found;
}

void finalise(const void* base) {
    for (std::size_t i = finalisers.size(); i-- > 0;) {
        const finaliser last = finalisers[i];
        if (last.base != base)
            continue;
        finalisers.erase(finalisers.begin() + static_cast<std::ptrdiff_t>(i));
        last.function(last.argument);
    }
}

} // namespace stand_ins
