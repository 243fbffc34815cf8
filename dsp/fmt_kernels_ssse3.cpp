#include "dsp/fmt_kernel_shape.h"
#include "dsp/fmt_kernels_sets.h"
#include "dsp/fmt_lanes_sse2.h"

#include <tmmintrin.h>

namespace {

struct Ssse3Pcm24 : Pcm24 {
    static constexpr std::size_t kStep = 8;

    // Eight samples are 24 bytes: the first 16 of them hold the first four samples, the last 16 the others.
    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        const __m128i first = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
        const __m128i second = _mm_setr_epi8(-1, 4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15);
        PutTopBits<kCopies>(
            stereo, _mm_shuffle_epi8(Load128(from), first), _mm_shuffle_epi8(Load128(from + 8), second));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto [lo, hi] = TakeInts<Pcm24, kCopies>(stereo);
        const __m128i first = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
        const __m128i second = _mm_setr_epi8(5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4);
        const __m128i rest = _mm_shuffle_epi8(hi, second);
        const __m128i startOfRest = _mm_and_si128(rest, _mm_setr_epi32(0, 0, 0, -1));
        Store128(to, _mm_or_si128(_mm_shuffle_epi8(lo, first), startOfRest));
        Store64(to + 16, rest);
    }
};

} // namespace

constinit const std::array<FmtKernels, 1> kFmtKernelsSsse3 = {KernelsOf<Ssse3Pcm24>()};
