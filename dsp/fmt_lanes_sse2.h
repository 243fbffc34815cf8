#pragma once

#include "dsp/fmt_kernel_shape.h"

// What the 128-bit kernels share: eight samples at once, in two vectors. For their source files only, see
// fmt_kernel_shape.h.

namespace {

struct Ints8 {
    __m128i lo;
    __m128i hi;
};

inline __m128i Load64(const Byte* from) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
}

inline __m128i Load128(const Byte* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

inline void Store64(Byte* to, __m128i value) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), value);
}

inline void Store128(Byte* to, __m128i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value);
}

template <std::size_t kCopies>
void Put(float* to, __m128 lo, __m128 hi) {
    if constexpr (kCopies == 1) {
        _mm_storeu_ps(to, lo);
        _mm_storeu_ps(to + 4, hi);
    } else {
        _mm_storeu_ps(to, _mm_unpacklo_ps(lo, lo));
        _mm_storeu_ps(to + 4, _mm_unpackhi_ps(lo, lo));
        _mm_storeu_ps(to + 8, _mm_unpacklo_ps(hi, hi));
        _mm_storeu_ps(to + 12, _mm_unpackhi_ps(hi, hi));
    }
}

/// Integers with the samples in their top bits: one factor, 2^-31, serves every width.
template <std::size_t kCopies>
void PutTopBits(float* to, __m128i lo, __m128i hi) {
    const __m128 factor = _mm_set1_ps(0x1p-31f);
    Put<kCopies>(to, _mm_mul_ps(_mm_cvtepi32_ps(lo), factor), _mm_mul_ps(_mm_cvtepi32_ps(hi), factor));
}

/// The floats of four host samples.
template <std::size_t kCopies>
__m128 Take(const float* from) {
    const __m128 floats = _mm_loadu_ps(from);
    return kCopies == 1 ? floats : _mm_shuffle_ps(floats, _mm_loadu_ps(from + 4), _MM_SHUFFLE(2, 0, 2, 0));
}

template <typename Sample, std::size_t kCopies>
Ints8 TakeInts(const float* from) {
    return {Sample::Encode(Take<kCopies>(from)), Sample::Encode(Take<kCopies>(from + 4 * kCopies))};
}

} // namespace
