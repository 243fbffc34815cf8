#include "benchmarks/copy_256.h"

#include <immintrin.h>

// Aligned: where the loop happens to lie may otherwise cost it a third.
__attribute__((aligned(64))) void Copy256(void* to, const void* from, std::size_t bytes) {
    auto* target = static_cast<__m256i*>(to);
    const auto* source = static_cast<const __m256i*>(from);
    const auto* const end = source + bytes / sizeof(__m256i);
    for (; source != end; source += 4, target += 4) {
        const __m256i a = _mm256_loadu_si256(source);
        const __m256i b = _mm256_loadu_si256(source + 1);
        const __m256i c = _mm256_loadu_si256(source + 2);
        const __m256i d = _mm256_loadu_si256(source + 3);
        _mm256_storeu_si256(target, a);
        _mm256_storeu_si256(target + 1, b);
        _mm256_storeu_si256(target + 2, c);
        _mm256_storeu_si256(target + 3, d);
    }
}
