// Runs the files of a directory through a target without libFuzzer.
#include "support.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

int main(int, char** argv) {
    int inputs = 0;
    for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream in(file.path(), std::ios::binary);
        // In a block of its own size, so that a byte read too far is seen.
        std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
        bytes.shrink_to_fit();
        std::printf("%s\n", file.path().c_str());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size());
        ++inputs;
    }
    return inputs == 0; // a corpus that is not there proves nothing
}
