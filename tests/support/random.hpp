// The random source of the tests: the same in every run, unless the environment variable
// ORV_TEST_SEED has another seed. The seed is printed, so that a test that fails tells it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

class seeded_random {
public:
    seeded_random() {
        const char* const given = std::getenv("ORV_TEST_SEED");
        const unsigned long seed = given ? std::strtoul(given, nullptr, 10) : 1;
        std::fprintf(stderr, "ORV_TEST_SEED=%lu\n", seed); // at once, for a test may crash
        engine_.seed(seed);
    }

    unsigned long next() { return engine_(); }
    // From 0 to `limit` - 1.
    unsigned long below(unsigned long limit) { return engine_() % limit; }

    std::string bytes(unsigned long count) {
        std::string result(count, '\0');
        for (char& byte : result)
            byte = static_cast<char>(engine_());
        return result;
    }
    // `count` characters, each out of `alphabet`.
    std::string text(unsigned long count, const std::string& alphabet) {
        std::string result(count, '\0');
        for (char& c : result)
            c = alphabet[below(alphabet.size())];
        return result;
    }

private:
    std::mt19937_64 engine_;
};
