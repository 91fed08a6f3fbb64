// Many processes open, change, watch and close one settings file, while this one kills a host at
// random every second, puts another in its place, and cuts or overwrites the file now and then. It
// counts what happened and fails where a promise was broken:
//
//   - no host crashes, hangs, or holds more descriptors, threads or memory after a hundred rounds
//     than after the first few;
//   - a file that was cut short, overwritten or mixed does not load, and takes nothing away from a
//     host that runs: whatever a host has seen or set once is there, whole, until it closes;
//   - the next save leaves a whole file.
//
//     store_stress [SECONDS] [HOSTS] [SEED]
#include "../support/temporary_directory.hpp"
#include "footprint.hpp"
#include "settings.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>

namespace {

using stress::findings;
using stress::footprint;

using number = std::atomic<long>;

constexpr int most_hosts = 64;
constexpr long hang = 20000;          // milliseconds without a sign of life
constexpr long allowed_growth = 1024; // KB of resident size
constexpr int rounds_to_settle = 3;   // before memory is compared

// In memory that all processes share; what a killed host has counted stays.
struct board {
    number stop, rounds;
    number opened[4]; // by what ORV_open said
    // What hosts did and met.
    number saves, undone_by_reload, gone_after_save, looks;
    number slowest_open, slowest_close; // milliseconds
    // Broken promises.
    number missing, damaged, grown;
    number largest_growth; // KB

    number signs_of_life[most_hosts]; // of each host, milliseconds on the steady clock
};
board* shared;

long milliseconds() {
    using namespace std::chrono;
    return duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void sleep_for(long time) { std::this_thread::sleep_for(std::chrono::milliseconds(time)); }

void raise_to(number& to, long value) {
    long before = to;
    while (before < value && !to.compare_exchange_weak(before, value)) {
    }
}

class host {
public:
    host(const char* path, int place, unsigned seed)
        : path_(path), sign_of_life_(shared->signs_of_life[place]), random_(seed) {}

    void run() {
        for (int round = 0; !shared->stop; ++round) {
            open();
            if (chance(50)) {
                stamp_ = static_cast<unsigned>(random_() % 1000000 + 1);
                stress::set_all(stamp_);
                complete_ = true;
            }
            watch(static_cast<long>(random_() % 1500));
            close();
            compare(round);
            ++shared->rounds;
        }
    }

private:
    bool chance(unsigned percent) { return random_() % 100 < percent; }
    void live() { sign_of_life_ = milliseconds(); }

    void open() {
        live();
        const int result = ORV_open(path_, stress::key_text);
        raise_to(shared->slowest_open, milliseconds() - sign_of_life_);
        ++shared->opened[result];
        stamp_ = 0;
        complete_ = result == ORV_OPEN_LOADED;
        look();
    }

    // Once a document was complete, every setting has to be there; whole it has to be at any time.
    void look() {
        const findings found = stress::look_through_store();
        ++shared->looks;
        shared->damaged += found.damaged;
        if (complete_)
            shared->missing += found.missing;
        complete_ = complete_ || found.all_whole();
        seen_ = found.first_stamp;
    }

    void watch(long time) {
        for (const long end = milliseconds() + time; milliseconds() < end && !shared->stop;) {
            live();
            look();
            sleep_for(20);
        }
        look();
    }

    void close() {
        const bool changed = stamp_ != 0;
        const bool undone = changed && seen_ != stamp_; // another's save was loaded meanwhile
        live();
        ORV_close();
        raise_to(shared->slowest_close, milliseconds() - sign_of_life_);
        live();
        shared->undone_by_reload += undone;
        shared->saves += changed && !undone;
        if (changed && !undone && stress::file_content(path_).found.first_stamp != stamp_)
            ++shared->gone_after_save;
    }

    void compare(int round) {
        const footprint now = footprint::now();
        if (round == rounds_to_settle)
            settled_ = now;
        if (round <= rounds_to_settle)
            return;
        const long growth = now.resident - settled_.resident;
        raise_to(shared->largest_growth, growth);
        if (now.files > settled_.files || now.threads > settled_.threads ||
            (stress::memory_counts && growth > allowed_growth))
            ++shared->grown;
    }

    const char* const path_;
    number& sign_of_life_;
    std::mt19937 random_;
    unsigned stamp_ = 0;    // of what was set; 0 if nothing was
    unsigned seen_ = 0;     // stamp of the first setting when it was last looked at
    bool complete_ = false; // whether the document has had every setting
    footprint settled_{};
};

// Counts of this process alone.
struct {
    long kills = 0, cuts = 0, overwrites = 0;
    long reads = 0, whole = 0, empty = 0, incomplete = 0, foreign = 0, mixed = 0;
    long crashes = 0, hangs = 0;
} counted;

pid_t processes[most_hosts];

void start_host(const char* path, int place, unsigned seed) {
    shared->signs_of_life[place] = milliseconds();
    const pid_t process = fork();
    if (process == 0) {
        host(path, place, seed).run();
        std::_Exit(0);
    }
    processes[place] = process;
}

void note_end(int place, int status) {
    std::fprintf(stderr, "host %d ended with status 0x%x\n", place, status);
    ++counted.crashes;
}

// Looks at the file as a process that opens it now would.
void inspect(const char* path) {
    const stress::file_content content(path);
    ++counted.reads;
    if (content.loads)
        ++(content.found.all_whole() ? counted.whole : counted.mixed);
    else
        ++(content.incomplete ? counted.incomplete
           : content.empty    ? counted.empty
                              : counted.foreign);
}

// False if there is no file, or an empty one.
bool do_damage(const char* path, std::mt19937& random) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    ORV::xfile file;
    if (error || size < 2 || !file.open(path, "r+b"))
        return false;
    if (random() % 2 == 0) {
        ++counted.cuts;
        return ftruncate(fileno(file.handle), static_cast<off_t>(1 + random() % (size - 1))) == 0;
    }
    ++counted.overwrites;
    for (unsigned i = 0; i < 64; ++i)
        std::fputc(static_cast<int>(random() % 256), file.handle);
    return true;
}

void supervise(const char* path, int hosts, long seconds, unsigned seed) {
    std::mt19937 random(seed);
    for (int place = 0; place < hosts; ++place)
        start_host(path, place, static_cast<unsigned>(random()));
    const long start = milliseconds();
    long next_kill = start + 1000;
    long next_damage = start + 1700;
    while (milliseconds() < start + seconds * 1000) {
        inspect(path);
        if (milliseconds() >= next_kill) {
            next_kill += 1000;
            const int place = static_cast<int>(random() % static_cast<unsigned>(hosts));
            kill(processes[place], SIGKILL);
            waitpid(processes[place], nullptr, 0);
            ++counted.kills;
            start_host(path, place, static_cast<unsigned>(random()));
        }
        if (milliseconds() >= next_damage && do_damage(path, random))
            next_damage += 1700;
        for (int place = 0; place < hosts; ++place) {
            int status;
            if (waitpid(processes[place], &status, WNOHANG) != 0) {
                note_end(place, status);
                start_host(path, place, static_cast<unsigned>(random()));
            } else if (milliseconds() - shared->signs_of_life[place] > hang) {
                ++counted.hangs;
                shared->signs_of_life[place] = milliseconds();
            }
        }
        sleep_for(20);
    }
    shared->stop = 1;
    for (int place = 0; place < hosts; ++place) {
        int status = 0;
        waitpid(processes[place], &status, 0);
        if (status != 0)
            note_end(place, status);
    }
}

// Whether a save leaves a whole file, whatever was there before.
bool save_leaves_whole_file(const char* path) {
    constexpr unsigned stamp = 4711;
    ORV_open(path, stress::key_text);
    stress::set_all(stamp);
    ORV_close();
    const stress::file_content content(path);
    return content.loads && content.found.all_whole() && content.found.first_stamp == stamp;
}

void print(const char* what, long count) { std::printf("  %-58s %9ld\n", what, count); }

} // namespace

int main(int argc, char** argv) {
    const long seconds = argc > 1 ? std::atol(argv[1]) : 60;
    const int hosts = argc > 2 ? std::clamp(std::atoi(argv[2]), 1, most_hosts) : 20;
    const unsigned seed = static_cast<unsigned>(argc > 3 ? std::atol(argv[3]) : getpid());
    shared = new (mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) board;
    const temporary_directory directory;
    const std::string path = directory.file();

    std::printf("%d hosts on one file for %ld seconds, one killed every second (seed %u)\n", hosts,
                seconds, seed);
    std::fflush(stdout);
    supervise(path.c_str(), hosts, seconds, seed);
    const bool whole_at_last = save_leaves_whole_file(path.c_str());

    print("hosts killed", counted.kills);
    print("files cut short by us", counted.cuts);
    print("files overwritten by us", counted.overwrites);
    std::printf(" hosts\n");
    print("rounds of open, watch, close", shared->rounds);
    print("opened: loaded", shared->opened[ORV_OPEN_LOADED]);
    print("opened: new", shared->opened[ORV_OPEN_NEW]);
    print("opened: unreadable", shared->opened[ORV_OPEN_UNREADABLE]);
    print("changed and saved", shared->saves);
    print("  of these gone again when looked for at once", shared->gone_after_save);
    print("changed, and undone by a reload before the save", shared->undone_by_reload);
    print("times all settings were looked through", shared->looks);
    print("slowest open, ms", shared->slowest_open);
    print("slowest close, ms", shared->slowest_close);
    print("largest growth of a host, KB", shared->largest_growth);
    std::printf(" the file, read in between\n");
    print("reads", counted.reads);
    print("loads whole", counted.whole);
    print("empty", counted.empty);
    print("incomplete", counted.incomplete);
    print("not ours", counted.foreign);

    std::printf(" promises broken\n");
    bool kept = true;
    const auto promise = [&](const char* what, long broken) {
        print(what, broken);
        kept = kept && broken == 0;
    };
    promise("hosts that crashed", counted.crashes);
    promise("hosts that hung", counted.hangs);
    promise("hosts that grew", shared->grown);
    promise("opens refused", shared->opened[ORV_OPEN_REFUSED]);
    promise("settings that a running host lost", shared->missing);
    promise("settings that a running host saw damaged", shared->damaged);
    promise("files that were mixed and loaded all the same", counted.mixed);
    promise("saves at the end that left no whole file", whole_at_last ? 0 : 1);
    return kept ? 0 : 1;
}
