// What every fuzz target needs: a way to say what must hold, and a reader of its input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

// Runs one input through a target. Called by libFuzzer, by replay.cpp where there is none, and by
// unit tests with inputs of their own.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

inline void run(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

// An exception that nobody catches ends the program, as a finding; a unit test fails.
inline void require(bool holds, const char* what) {
    if (!holds)
        throw std::logic_error(std::string("does not hold: ") + what);
}

// Takes the bytes of an input apart, from the first to the last. Behind the end everything is zero
// or empty.
class input {
public:
    input(const std::uint8_t* data, std::size_t size)
        : at_(reinterpret_cast<const char*>(data)), left_(size) {}

    bool empty() const { return left_ == 0; }
    unsigned char byte() { return static_cast<unsigned char>(take(1).c_str()[0]); }
    unsigned below(unsigned count) { return byte() % count; }
    int integer() {
        int value = 0;
        const std::string bytes = take(sizeof value);
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    // Up to the next NUL, which is stepped over.
    std::string text() {
        const std::string bytes = take(empty() ? 0 : strnlen(at_, left_));
        byte();
        return bytes;
    }
    std::string take(std::size_t count) {
        const std::string bytes(at_, count < left_ ? count : left_);
        at_ += bytes.size();
        left_ -= bytes.size();
        return bytes;
    }
    std::string rest() { return take(left_); }

private:
    const char* at_;
    std::size_t left_;
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
