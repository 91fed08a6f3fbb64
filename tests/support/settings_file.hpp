// Settings files made without the store.
#pragma once

#include <orv/store/aes.hpp>

#include <string>

constexpr char settings_key[] = "a key text of which 32 bytes count";

inline std::string settings_file(const std::string& plain, std::string key = settings_key) {
    const bin_t file = ORV::aes::encrypt(bin_t(plain.data(), plain.size()),
                                         reinterpret_cast<unsigned char*>(key.data()), 256);
    return std::string(file.data(), file.length());
}
