// Runs files, and the files in directories, through a target without libFuzzer.
#include "support.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (fs::is_directory(argv[i]))
            files.insert(files.end(), fs::directory_iterator(argv[i]), {});
        else
            files.emplace_back(argv[i]);
    }
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        // In a block of its own size, so that a byte read too far is seen.
        std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
        exact.shrink_to_fit();
        std::printf("%s\n", file.c_str());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0; // a corpus that is not there proves nothing
}
