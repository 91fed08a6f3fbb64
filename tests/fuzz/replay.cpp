// Runs files, and the files in directories, through a target without libFuzzer.
#include "support.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

void run(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    // In a block of its own size, so that a byte read too far is seen.
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    input.shrink_to_fit();
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv) {
    int count = 0;
    const auto run_next = [&](const std::filesystem::path& file) {
        run(file);
        ++count;
    };
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            run_next(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            run_next(entry.path());
    }
    std::printf("%d inputs\n", count);
    return count != 0 ? 0 : 1; // a corpus that is not there proves nothing
}
