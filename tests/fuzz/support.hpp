// What every fuzz target needs: a way to say what must hold, and a reader of its input.
#pragma once

#include <orv/xml/item.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

// Runs one input through a target. Called by libFuzzer, and by replay.cpp where there is none.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// An exception that nobody catches ends the program, as a finding.
inline void require(bool holds, const char* what) {
    if (!holds)
        throw std::logic_error(std::string("does not hold: ") + what);
}

inline std::string saved(const xml::item& document) {
    str_t text;
    document.save(text, 0);
    return text.c_str();
}

// Takes the bytes of an input apart, from the first to the last. Behind the end everything is zero
// or empty.
class input {
public:
    input(const std::uint8_t* data, std::size_t size)
        : left_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return left_.empty(); }
    unsigned byte() { return static_cast<unsigned char>(*take(1).c_str()); }
    // Up to the next NUL, which is stepped over.
    std::string text() {
        const std::string bytes = take(std::strlen(left_.c_str()));
        byte();
        return bytes;
    }
    std::string take(std::size_t count) {
        const std::string bytes = left_.substr(0, count);
        left_.erase(0, count);
        return bytes;
    }

private:
    std::string left_;
};

} // namespace fuzz
