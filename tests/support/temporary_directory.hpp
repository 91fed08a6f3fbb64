// Files for a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// A directory of a test's own, removed with all that is in it.
class temporary_directory {
public:
    temporary_directory() {
        std::string name = (std::filesystem::temp_directory_path() / "orv-test-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary directory");
        path_ = name;
    }
    temporary_directory(temporary_directory&&) = delete;
    ~temporary_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string file(const std::string& name = "file") const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
