#pragma once

#include <cstddef>

// The conversions as a plain loop over samples, and what the compiler makes of it: the same source twice, as
// the module is built (-O2, SSE2) and with all that the compiler has (-O3, AVX2).

struct PlainLoop {
    unsigned formatTag;
    unsigned bitsPerSample;
    void (*toFloat)(const unsigned char* host, std::size_t samples, float* floats);
    void (*fromFloat)(unsigned char* host, std::size_t samples, const float* floats);
};

extern const PlainLoop kPlainLoops[5];
extern const PlainLoop kPlainLoopsOptimised[5]; ///< AVX2 only: ask the processor first
