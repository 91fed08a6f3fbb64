// The random source of the tests: another seed each run, printed, so that a failure can be repeated
// with that seed in the environment variable ORV_TEST_SEED.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

class seeded_random {
public:
    seeded_random() {
        const char* const given = std::getenv("ORV_TEST_SEED");
        const unsigned long seed =
            given ? std::strtoul(given, nullptr, 10) : std::random_device()();
        std::printf("ORV_TEST_SEED=%lu\n", seed);
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
