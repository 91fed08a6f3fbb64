// Many processes open, change, watch and close one settings file, while this one kills one of them
// every half second, puts another in its place, and cuts the file or overwrites its beginning. It
// counts what happened, and fails where a promise was broken:
//
//   - no host crashes or hangs, is refused the store, or takes more descriptors or threads after a
//     round than after the first one, or more memory after many rounds than after a few;
//   - once a host has had all settings, they are there, whole, until it closes the store;
//   - a file that loads is one save, whole, and the last save leaves such a file.
//
//     store_stress [SECONDS] [HOSTS]
#include "../support/temporary_directory.hpp"

#include <orv/orv.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <random>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr char key[] = "a key text of which 32 bytes count";
constexpr int setting_count = 300;
constexpr long allowed_growth = 1 << 20; // bytes of resident size

// In memory that all processes share; what a killed host has counted stays.
struct board {
    std::atomic<long> stop, rounds, saves, opened[4], lost, grown;
};
board* shared;

std::string name_of(int index) { return "stress/settings/key" + std::to_string(100 + index); }

// A value tells which one it is and whose. Files of different stamps differ in size.
std::string value_of(unsigned long stamp, int index) {
    return std::to_string(stamp) + "." + std::to_string(index) + "." +
           std::string(stamp % 41, 'x') + ".";
}

// Nothing for stamp 0.
void set_all(unsigned long stamp) {
    for (int i = 0; stamp != 0 && i < setting_count; ++i)
        ORVSC_SetString(nullptr, name_of(i).c_str(), value_of(stamp, i).c_str());
}

// Whether every setting of the open store is there, whole.
bool all_whole() {
    for (int i = 0; i < setting_count; ++i) {
        char value[200];
        int size = sizeof value - 1;
        ORVSC_GetString(nullptr, name_of(i).c_str(), value, &size, "");
        if (value != value_of(std::strtoul(value, nullptr, 10), i))
            return false;
    }
    return true;
}

// What this process takes of the machine. (The sanitizers hold memory back, so it does not count.)
struct footprint {
    long files, threads, memory;

    static footprint now() {
        long pages = 0;
#ifndef ORV_SANITIZED
        std::ifstream("/proc/self/statm") >> pages >> pages; // the second number
#endif
        const auto entries_of = [](const char* directory) {
            return std::distance(std::filesystem::directory_iterator(directory), {});
        };
        return {entries_of("/proc/self/fd"), entries_of("/proc/self/task"),
                pages * sysconf(_SC_PAGESIZE)};
    }
};

void run_host(const std::string& path, unsigned seed) {
    std::mt19937 random(seed);
    footprint settled{};
    for (int round = 0; !shared->stop; ++round) {
        alarm(30); // for one that hangs
        const int opened = ORV_open(path.c_str(), key);
        ++shared->opened[opened];
        const bool changes = random() % 2 == 0;
        std::thread other(set_all, changes ? random() % 1000000 + 1 : 0); // beside our own looks
        bool whole = all_whole() || opened == ORV_OPEN_LOADED;
        other.join();
        whole = whole || changes;
        for (auto left = random() % 50; left > 0 && !shared->stop; --left) {
            const bool still_whole = all_whole();
            shared->lost += whole && !still_whole;
            whole = still_whole;
            usleep(20000);
        }
        ORV_close();
        shared->saves += changes;
        ++shared->rounds;
        const footprint now = footprint::now();
        if (round == 0)
            settled = now;
        if (round <= 3) // memory has to settle
            settled.memory = now.memory;
        shared->grown += now.files > settled.files || now.threads > settled.threads ||
                         now.memory > settled.memory + allowed_growth;
    }
}

// Cuts the file, or overwrites its beginning.
void damage(const std::string& path, std::mt19937& random) {
    std::error_code none;
    const auto size = std::filesystem::file_size(path, none);
    if (none || size < 2)
        return;
    if (random() % 2 == 0)
        return std::filesystem::resize_file(path, 1 + random() % (size - 1), none);
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << random() << random();
}

} // namespace

int main(int argc, char** argv) {
    const long seconds = argc > 1 ? std::atol(argv[1]) : 60;
    const unsigned long given = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
    const unsigned long hosts = given != 0 ? given : 20;
    std::mt19937 random(1);
    shared = new (mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) board{};
    const temporary_directory directory;
    const std::string path = directory.file();
    long kills = 0, crashes = 0, loads = 0, fails = 0, mixed = 0;
    const auto look_into_file = [&] {
        const bool loaded = ORV_open(path.c_str(), key) == ORV_OPEN_LOADED;
        mixed += loaded && !all_whole();
        ORV_close();
        ++(loaded ? loads : fails);
        return loaded;
    };

    std::vector<pid_t> running;
    const auto start_host = [&] {
        const auto seed = static_cast<unsigned>(random());
        running.push_back(fork());
        if (running.back() == 0) {
            run_host(path, seed);
            std::_Exit(0);
        }
    };
    while (running.size() < hosts)
        start_host();
    const auto end = steady_clock::now() + std::chrono::seconds(seconds);
    for (auto next = steady_clock::now() + milliseconds(500); steady_clock::now() < end;) {
        look_into_file();
        usleep(20000);
        if (steady_clock::now() < next)
            continue;
        next += milliseconds(500);
        std::swap(running[random() % hosts], running.back());
        kill(running.back(), SIGKILL);
        int status = 0;
        waitpid(running.back(), &status, 0);
        crashes += !WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL;
        running.pop_back();
        start_host();
        if (++kills % 2 == 0)
            damage(path, random);
    }
    shared->stop = 1;
    for (const pid_t host : running) {
        int status = 0;
        waitpid(host, &status, 0);
        crashes += status != 0;
    }
    ORV_open(path.c_str(), key);
    set_all(4711);
    ORV_close();
    const bool whole = look_into_file();

    std::printf("%lu hosts on one file for %ld s: %ld killed, %ld rounds, %ld saves\n"
                "opened: loaded %ld, new %ld, not whole %ld; in between: loads %ld, does not %ld\n",
                hosts, seconds, kills, shared->rounds.load(), shared->saves.load(),
                shared->opened[ORV_OPEN_LOADED].load(), shared->opened[ORV_OPEN_NEW].load(),
                shared->opened[ORV_OPEN_UNREADABLE].load(), loads, fails);
    long sum = 0;
    const auto count_broken = [&](const char* what, long count) {
        std::printf("%6ld %s\n", count, what);
        sum += count;
    };
    count_broken("hosts that crashed or hung", crashes);
    count_broken("hosts that were refused", shared->opened[ORV_OPEN_REFUSED]);
    count_broken("hosts that grew", shared->grown);
    count_broken("hosts that lost a setting", shared->lost);
    count_broken("files that load and are not whole", mixed);
    count_broken("last saves that left no whole file", !whole);
    return sum == 0 ? 0 : 1;
}
