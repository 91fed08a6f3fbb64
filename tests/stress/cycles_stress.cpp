// Opens and closes the store again and again, and fails if that takes descriptors, threads or
// memory. A cycle that saves pauses for a tenth of a second, so there are fewer of these.
//
//     cycles_stress [CYCLES] [SAVING CYCLES]
#include "../support/temporary_directory.hpp"
#include "footprint.hpp"
#include "settings.hpp"

#include <string>

namespace {

using stress::footprint;

constexpr long allowed_growth = 256; // KB, whatever the number of cycles

// Whether `cycles` cycles leave this process as it was after the first few.
bool cycle(const char* path, long cycles, bool save) {
    footprint first{};
    footprint last{};
    const long settled = cycles / 10;
    for (long i = 0; i <= cycles; ++i) {
        if (ORV_open(path, stress::key_text) != ORV_OPEN_LOADED) {
            std::fprintf(stderr, "the file did not load in cycle %ld\n", i);
            return false;
        }
        if (save)
            ORVSC_SetInt("cycles", "number", static_cast<int>(i));
        const bool whole = stress::look_through_store().all_whole();
        ORV_close();
        if (!whole) {
            std::fprintf(stderr, "settings were missing in cycle %ld\n", i);
            return false;
        }
        last = footprint::now();
        if (i == settled)
            first = last;
    }
    std::printf("%6ld cycles %s: after %ld and after all of them, descriptors %ld and %ld, threads "
                "%ld and %ld, resident KB %ld and %ld\n",
                cycles, save ? "with a save" : "without one", settled, first.files, last.files,
                first.threads, last.threads, first.resident, last.resident);
    return first.files == last.files && first.threads == last.threads &&
           (!stress::memory_counts || last.resident - first.resident <= allowed_growth);
}

} // namespace

int main(int argc, char** argv) {
    const long cycles = argc > 1 ? std::atol(argv[1]) : 10000;
    const long saving = argc > 2 ? std::atol(argv[2]) : 200;
    const temporary_directory directory;
    const std::string path = directory.file();
    ORV_open(path.c_str(), stress::key_text);
    stress::set_all(1);
    ORV_close();
    const bool kept = cycle(path.c_str(), cycles, false) && cycle(path.c_str(), saving, true);
    std::puts(kept ? "no growth" : "FAILED");
    return kept ? 0 : 1;
}
