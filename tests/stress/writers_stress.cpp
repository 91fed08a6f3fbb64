// Two processes load the same settings, set all of them, and save within a given time of each
// other, round after round; what the file holds then, and what a third process finds that opens it
// at some moment in between, is counted. Fails if a file was mixed and loads all the same.
//
//     writers_stress [ROUNDS] [MILLISECONDS BETWEEN SAVES AT MOST]
#include "../support/temporary_directory.hpp"
#include "settings.hpp"

#include <atomic>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using number = std::atomic<unsigned>;

struct board {
    number arrived; // at the present meeting
    number meeting;
};
board* shared;

// All three processes wait here for each other.
void meet() {
    const unsigned now = shared->meeting;
    if (++shared->arrived == 3) {
        shared->arrived = 0;
        ++shared->meeting;
        return;
    }
    while (shared->meeting == now)
        usleep(100);
}

unsigned stamp_for(unsigned round, unsigned writer) { return 1 + 2 * round + writer; }

void write(const char* path, unsigned writer, unsigned rounds, unsigned between) {
    std::mt19937 random(writer);
    for (unsigned round = 0; round < rounds; ++round) {
        ORV_open(path, stress::key_text);
        stress::set_all(stamp_for(round, writer));
        meet();
        usleep(static_cast<unsigned>(random() % (between * 1000 + 1)));
        ORV_close();
        meet();
        meet(); // the file is being looked at
    }
}

} // namespace

int main(int argc, char** argv) {
    const unsigned rounds = static_cast<unsigned>(argc > 1 ? std::atol(argv[1]) : 500);
    const unsigned between = static_cast<unsigned>(argc > 2 ? std::atol(argv[2]) : 100);
    shared = new (mmap(nullptr, sizeof(board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) board;
    const temporary_directory directory;
    const std::string path = directory.file();
    std::fflush(stdout);
    for (unsigned writer = 0; writer < 2; ++writer) {
        if (fork() == 0) {
            write(path.c_str(), writer, rounds, between);
            std::_Exit(0);
        }
    }

    long first = 0, second = 0, failed = 0, mixed = 0;
    long found = 0, found_empty = 0, found_incomplete = 0, found_mixed = 0;
    std::mt19937 random(2);
    for (unsigned round = 0; round < rounds; ++round) {
        meet();
        usleep(static_cast<unsigned>(random() % ((between + 100) * 1000 + 1)));
        const int opened = ORV_open(path.c_str(), stress::key_text);
        const bool whole = stress::look_through_store().all_whole();
        ORV_close();
        ++(opened == ORV_OPEN_NEW      ? found_empty
           : opened != ORV_OPEN_LOADED ? found_incomplete
           : whole                     ? found
                                       : found_mixed);
        meet();
        const stress::file_content after(path.c_str());
        if (!after.loads)
            ++failed;
        else if (!after.found.all_whole())
            ++mixed;
        else
            ++(after.found.first_stamp == stamp_for(round, 0) ? first : second);
        meet();
    }
    while (wait(nullptr) > 0) {
    }
    std::printf("%u rounds of two processes that save within %u ms of each other\n"
                "  the file holds one of the documents, whole      %6ld (%ld and %ld)\n"
                "  the file does not load                          %6ld\n"
                "  the file is mixed and loads all the same        %6ld\n"
                "  a third process, meanwhile: loads a whole one   %6ld\n"
                "                              finds it new        %6ld\n"
                "                              cannot read it      %6ld\n"
                "                              loads a mixed one   %6ld\n",
                rounds, between, first + second, first, second, failed, mixed, found, found_empty,
                found_incomplete, found_mixed);
    return mixed + found_mixed == 0 ? 0 : 1;
}
