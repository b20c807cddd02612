#pragma once

// A line for the table of counts at the end of "make test" and "make soak": what was tried, and how often.

#include <cstdio>

inline void PrintTally(const char* what, unsigned long long rounds) {
    std::printf("tally: %s: %llu\n", what, rounds);
    std::fflush(stdout);
}
