// What ORV_save promises, while everybody saves:
//
//   alone     six threads of one host set and save, while its file is touched, so that it is loaded
//             again and again: the value that a save has reported as saved is in the file
//   together  two hosts of three threads each, and orv-settings: such a value is in the file,
//             unless another process has saved since
//
//     save_stress [SECONDS] [ORV-SETTINGS]
#include "../support/temporary_directory.hpp"

#include <orv/orv.hpp>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using std::chrono::steady_clock;

const char key[] = "a key text of which 32 bytes count";

struct board { // in memory that all processes share
    std::atomic<long> results[3], by_others, broken;
};
board* shared;

// Sets a value, saves, and looks into the file, at once and later, until it is time: the value is
// there, unless another process has saved. No other does if `host` is 0.
void set_and_save(const std::string& path, const std::string& name, int host,
                  steady_clock::time_point end) {
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
        shared->broken += !by_others && (!found || std::atoi(found->value) < saved);
    };
    for (int value = 1; steady_clock::now() < end; ++value) {
        usleep(static_cast<useconds_t>(value % 5) * 150000); // at times nobody saves
        check();
        reloads = ORVSC_Reloads();
        ORVSC_SetInt("last", "by", host);
        ORVSC_SetInt("values", name.c_str(), value);
        usleep(static_cast<useconds_t>(value % 3) * 150000); // for others to come between
        const int result = ORV_save();
        ++shared->results[result];
        saved = result == ORV_SAVE_OK ? value : 0;
        check();
    }
}

void run_host(const std::string& path, int host, int threads, steady_clock::time_point end) {
    ORV_open(path.c_str(), key);
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i)
        running.emplace_back(set_and_save, path, std::to_string(10 * host + i), host, end);
    for (std::thread& one : running)
        one.join();
    ORV_close();
}

// Seconds from the epoch on, each once.
void touch(const std::string& path, steady_clock::time_point end) {
    for (int second = 1; steady_clock::now() < end; ++second) {
        const timespec times[] = {{second, 0}, {second, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
        usleep(30000);
    }
}

int failures(const char* what) {
    std::printf("%s: %ld saved, %ld replaced, %ld not saved, %ld saved since by others\n"
                "%6ld saved values that were not in the file\n",
                what, shared->results[ORV_SAVE_OK].exchange(0),
                shared->results[ORV_SAVE_REPLACED].exchange(0),
                shared->results[ORV_SAVE_FAILED].exchange(0), shared->by_others.exchange(0),
                shared->broken.load());
    return shared->broken == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const auto half = std::chrono::milliseconds(500 * (argc > 1 ? std::atol(argv[1]) : 60));
    const std::string tool = argc > 2 ? argv[2] : "orv-settings";
    shared = new (mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) board{};
    const temporary_directory directory;
    const std::string alone = directory.file("alone"), together = directory.file("together");
    setenv("ORV_SETTINGS_KEY", key, 1);

    auto end = steady_clock::now() + half;
    std::thread touching(touch, alone, end);
    run_host(alone, 0, 6, end);
    touching.join();
    int status = failures("one host, whose file is touched");

    end = steady_clock::now() + half;
    for (const int host : {1, 2}) {
        if (fork() == 0) {
            run_host(together, host, 3, end);
            std::_Exit(0);
        }
    }
    long changes = 0, refused = 0;
    for (int i = 100; steady_clock::now() < end; ++i) {
        const std::string set =
            tool + " --create set " + together + " last by " + std::to_string(i) + " 2>/dev/null";
        ++(std::system(set.c_str()) == 0 ? changes : refused);
        usleep(200000);
    }
    while (wait(nullptr) > 0) {
    }
    std::printf("orv-settings: %ld changes, %ld refused\n", changes, refused);
    return status | failures("two hosts and orv-settings");
}
