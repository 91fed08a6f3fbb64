// Runs the files of a directory through a target without libFuzzer.
#include "support.hpp"

#include "../support/temporary_directory.hpp"

#include <cstdio>

int main(int, char** argv) {
    int inputs = 0;
    for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
        std::fprintf(stderr, "%s\n", file.path().c_str());
        const std::string input = read_file(file.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++inputs;
    }
    return inputs == 0; // a corpus that is not there proves nothing
}
