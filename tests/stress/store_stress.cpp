// Many threads and processes on one settings file, in three parts. It counts what happens, and
// fails where a promise is broken, or a process crashes:
//
//   crowd     Many hosts open, change, watch and close the file, while one of them is killed every
//             half second, another takes its place, and the file is cut or its beginning
//             overwritten. None hangs, is refused the store, or takes more descriptors or threads
//             after a round than after the first one, or more memory after many rounds than after a
//             few. A file that loads has all settings, whole, and the last save leaves such a file.
//             Once a host has had them all, they are there, whole, until it closes the store.
//   alone     Six threads of one host set and save, while its file is touched, so that it is loaded
//             again and again. The value that a save has reported as saved is in the file.
//   together  Two hosts of three threads each save, and so does orv-settings. The value is in the
//             file, unless another process has saved since.
//
// The first part takes SECONDS, the other two take half as long each.
//
//     store_stress [SECONDS] [HOSTS] [ORV-SETTINGS]
#include "../support/temporary_directory.hpp"

#include <orv/orv.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <random>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using moment = steady_clock::time_point;

constexpr char key[] = "a key text of which 32 bytes count";

// In memory that all processes share; what a killed host has counted stays.
struct board {
    std::atomic<long> rounds, sets, opened[4], saves[3], by_others; // what happens
    std::atomic<long> crashed, grown, lost, cut, missing;           // what must not happen
};
board* shared;

// Runs a host in a process of its own.
pid_t start(const std::function<void()>& host) {
    const pid_t started = fork();
    if (started > 0)
        return started;
    if (started == 0)
        host();
    std::_Exit(started); // a failure if there is no process
}

// Waits for the end of a host, which is its own or our kill.
void wait_for(pid_t host) {
    int status = 0;
    waitpid(host, &status, 0);
    shared->crashed += status != 0 && status != SIGKILL;
}

// --- The crowd -------------------------------------------------------------------------------

constexpr int setting_count = 300;
constexpr long allowed_growth = 1 << 20; // bytes of resident size

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
        if (*ORV_SANITIZE == 0)
            std::ifstream("/proc/self/statm") >> pages >> pages; // the second number
        const auto entries_of = [](const char* directory) {
            return std::distance(std::filesystem::directory_iterator(directory), {});
        };
        return {entries_of("/proc/self/fd"), entries_of("/proc/self/task"),
                pages * sysconf(_SC_PAGESIZE)};
    }
};

void change_and_watch(const std::string& path, unsigned seed, moment end) {
    std::mt19937 random(seed);
    footprint settled{};
    for (int round = 0; steady_clock::now() < end; ++round) {
        alarm(30); // for one that hangs
        const int opened = ORV_open(path.c_str(), key);
        ++shared->opened[opened];
        const bool changes = random() % 2 == 0;
        std::thread other(set_all, changes ? random() % 1000000 + 1 : 0); // beside our own looks
        bool whole = all_whole() || opened == ORV_OPEN_LOADED;            // or should be
        other.join();
        whole = whole || changes;
        for (auto left = 1 + random() % 50; left > 0; --left) {
            const bool still_whole = all_whole();
            shared->lost += whole && !still_whole;
            whole = still_whole;
            usleep(20000);
        }
        ORV_close();
        shared->sets += changes;
        ++shared->rounds;
        usleep(100000); // a thread that was joined is listed for a moment
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

void crowd(const std::string& path, unsigned long hosts, milliseconds time) {
    const moment end = steady_clock::now() + time;
    std::mt19937 random(1);
    std::vector<pid_t> running;
    const auto start_host = [&] {
        const auto seed = static_cast<unsigned>(random());
        running.push_back(start([&] { change_and_watch(path, seed, end); }));
    };
    while (running.size() < hosts)
        start_host();
    long kills = 0;
    for (; steady_clock::now() < end; ++kills) {
        usleep(500000);
        std::swap(running[random() % hosts], running.back());
        kill(running.back(), SIGKILL);
        wait_for(running.back());
        running.pop_back();
        start_host();
        if (kills % 2 != 0)
            damage(path, random);
    }
    for (const pid_t host : running)
        wait_for(host);
    ORV_open(path.c_str(), key);
    set_all(4711);
    ORV_close();
    shared->cut += ORV_open(path.c_str(), key) != ORV_OPEN_LOADED || !all_whole();
    ORV_close();
    std::printf("%lu hosts on one file: %ld killed, %ld rounds, %ld saves\n"
                "opened: loaded %ld, new %ld, not whole %ld\n",
                hosts, kills, shared->rounds.load(), shared->sets.load(),
                shared->opened[ORV_OPEN_LOADED].load(), shared->opened[ORV_OPEN_NEW].load(),
                shared->opened[ORV_OPEN_UNREADABLE].load());
}

// --- Alone and together ----------------------------------------------------------------------

// Sets a value, saves, and looks into the file, at once and later, until it is time: the value is
// there, unless another process has saved. No other does if `host` is 0.
void set_and_save(const std::string& path, const std::string& name, int host, moment end) {
    int saved = 0, reloads = 0;
    const auto check = [&] {
        ORV::sconfig file;
        file.file = path.c_str();
        file.cipherKey = key;
        if (saved == 0 || !file.readV())
            return; // nothing is promised, or the next save has begun
        const xml::item* const by = file.doc.get("last", "by");
        const xml::item* const found = file.doc.get("values", name.c_str());
        const bool by_others =
            host != 0 && (by->value != std::to_string(host) || ORVSC_Reloads() != reloads);
        shared->by_others += by_others;
        shared->missing += !by_others && (!found || std::atoi(found->value) < saved);
    };
    for (int value = 1; steady_clock::now() < end; ++value) {
        usleep(static_cast<useconds_t>(value % 5) * 150000); // at times nobody saves
        check();
        reloads = ORVSC_Reloads();
        ORVSC_SetInt("last", "by", host);
        ORVSC_SetInt("values", name.c_str(), value);
        usleep(static_cast<useconds_t>(value % 3) * 150000); // for others to come between
        const int result = ORV_save();
        ++shared->saves[result];
        saved = result == ORV_SAVE_OK ? value : 0;
        check();
    }
}

// Starts hosts with six threads in all, and does something else to the file again and again.
void save_beside(const char* what, const std::string& path, const std::vector<int>& hosts,
                 milliseconds time, const std::function<void(int)>& disturb) {
    const moment end = steady_clock::now() + time;
    std::vector<pid_t> running;
    for (const int host : hosts)
        running.push_back(start([&] {
            ORV_open(path.c_str(), key);
            std::vector<std::thread> threads;
            for (int i = 0; i < (hosts.size() == 1 ? 6 : 3); ++i)
                threads.emplace_back(set_and_save, path, std::to_string(10 * host + i), host, end);
            for (std::thread& one : threads)
                one.join();
            ORV_close();
        }));
    for (int i = 1; steady_clock::now() < end; ++i)
        disturb(i);
    for (const pid_t host : running)
        wait_for(host);
    std::printf("%s: %ld saved, %ld replaced, %ld not saved, %ld saved since by others\n", what,
                shared->saves[ORV_SAVE_OK].exchange(0),
                shared->saves[ORV_SAVE_REPLACED].exchange(0),
                shared->saves[ORV_SAVE_FAILED].exchange(0), shared->by_others.exchange(0));
}

} // namespace

int main(int argc, char** argv) {
    const milliseconds half(500 * (argc > 1 ? std::atol(argv[1]) : 60));
    const unsigned long hosts = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 20;
    const std::string tool = argc > 3 ? argv[3] : "orv-settings";
    shared = new (mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) board{};
    const temporary_directory directory;
    crowd(directory.file("crowd"), hosts, 2 * half);
    const std::string alone = directory.file("alone"), together = directory.file("together");
    save_beside("one host, whose file is touched", alone, {0}, half, [&](int second) {
        const timespec times[] = {{second, 0}, {second, 0}}; // from the epoch on, each once
        utimensat(AT_FDCWD, alone.c_str(), times, 0);
        usleep(30000);
    });
    setenv("ORV_SETTINGS_KEY", key, 1);
    long changes = 0, refused = 0;
    save_beside("two hosts and orv-settings", together, {1, 2}, half, [&](int i) {
        const std::string set = tool + " --create set " + together + " last by " +
                                std::to_string(100 + i) + " 2>/dev/null";
        ++(std::system(set.c_str()) == 0 ? changes : refused);
        usleep(200000);
    });
    std::printf("orv-settings: %ld changes, %ld refused\n", changes, refused);

    long sum = 0;
    const auto count_broken = [&](const char* what, long count) {
        std::printf("%6ld %s\n", count, what);
        sum += count;
    };
    count_broken("hosts that crashed or hung", shared->crashed);
    count_broken("hosts that were refused", shared->opened[ORV_OPEN_REFUSED]);
    count_broken("hosts that grew", shared->grown);
    count_broken("hosts that lost a setting, or loaded a file without it", shared->lost);
    count_broken("last saves that left no whole file", shared->cut);
    count_broken("saved values that were not in the file", shared->missing);
    return sum == 0 ? 0 : 1;
}
