#pragma once

// How long a random test runs, and by which seed. A short form is part of every test run; a soak test asks for a long
// one by the variables QUORLINE_ROUNDS and QUORLINE_SEED of its environment.

#include <cstdio>
#include <cstdlib>
#include <random>

struct CRandomRounds {
    unsigned long long count;
    unsigned seed;

    /// The seed that is printed makes the same run again.
    explicit CRandomRounds(unsigned long long shortCount)
        : count(Number("QUORLINE_ROUNDS", shortCount)),
          seed(static_cast<unsigned>(Number("QUORLINE_SEED", std::random_device()()))) {
        std::printf("rounds: %llu, QUORLINE_SEED=%u\n", count, seed);
        std::fflush(stdout);
    }

private:
    static unsigned long long Number(const char* variable, unsigned long long otherwise) {
        const char* const text = std::getenv(variable);
        return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : otherwise;
    }
};
