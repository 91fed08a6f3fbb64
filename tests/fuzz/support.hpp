// What every fuzz target needs: an exit for what must not happen, and a reader of its input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// Runs one input through a target. Called by libFuzzer, or by replay.cpp where there is none.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Ends the program, as a finding, unless `holds`.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

// Takes the bytes of an input apart, from the first to the last. Behind the end everything is zero
// or empty.
class input {
public:
    input(const std::uint8_t* data, std::size_t size)
        : at_(reinterpret_cast<const char*>(data)), end_(at_ + size) {}

    bool empty() const { return at_ == end_; }
    unsigned char byte() { return empty() ? 0 : static_cast<unsigned char>(*at_++); }
    unsigned below(unsigned count) { return byte() % count; }
    int integer() {
        int value = 0;
        const std::string bytes = take(sizeof value);
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    // Up to the next NUL, which is stepped over.
    std::string text() {
        const std::size_t left = static_cast<std::size_t>(end_ - at_);
        const void* nul = empty() ? nullptr : std::memchr(at_, 0, left);
        std::string bytes =
            take(nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - at_) : left);
        byte();
        return bytes;
    }
    std::string take(std::size_t count) {
        const std::size_t left = static_cast<std::size_t>(end_ - at_);
        std::string bytes(at_, count < left ? count : left);
        at_ += bytes.size();
        return bytes;
    }
    std::string rest() { return take(~std::size_t(0)); }

private:
    const char* at_;
    const char* end_;
};

// A text that may be null: in the input, null is a byte 1 in front of the NUL.
class optional_text {
public:
    explicit optional_text(input& from) : text_(from.text()) {}
    const char* get() const { return text_ == "\1" ? nullptr : text_.c_str(); }

private:
    std::string text_;
};

} // namespace fuzz
