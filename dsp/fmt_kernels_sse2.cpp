#include "dsp/fmt_kernel_shape.h"
#include "dsp/fmt_kernels_sets.h"
#include "dsp/fmt_lanes_sse2.h"

namespace {

struct Sse2Pcm8 : Pcm8 {
    static constexpr std::size_t kStep = 8;

    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        const __m128i none = _mm_setzero_si128();
        const __m128i words = _mm_unpacklo_epi8(none, _mm_xor_si128(Load64(from), _mm_set1_epi8(kZero)));
        PutTopBits<kCopies>(stereo, _mm_unpacklo_epi16(none, words), _mm_unpackhi_epi16(none, words));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto [lo, hi] = TakeInts<Pcm8, kCopies>(stereo);
        const __m128i low = _mm_set1_epi32(0xFF); // the packs must find nothing to saturate
        const __m128i words = _mm_packs_epi32(_mm_and_si128(lo, low), _mm_and_si128(hi, low));
        Store64(to, _mm_xor_si128(_mm_packus_epi16(words, words), _mm_set1_epi8(kZero)));
    }

private:
    static constexpr char kZero = '\x80'; // adding 128 to a byte, or taking it off, is flipping its top bit
};

struct Sse2Pcm16 : Pcm16 {
    static constexpr std::size_t kStep = 8;

    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        const __m128i none = _mm_setzero_si128();
        const __m128i words = Load128(from);
        PutTopBits<kCopies>(stereo, _mm_unpacklo_epi16(none, words), _mm_unpackhi_epi16(none, words));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto [lo, hi] = TakeInts<Pcm16, kCopies>(stereo);
        Store128(to, _mm_packs_epi32(TooLargeToNegative(lo), TooLargeToNegative(hi)));
    }

private:
    /// Inverts what lies above the range, so that packing saturates it to the bottom and not to the top.
    static __m128i TooLargeToNegative(__m128i ints) {
        return _mm_xor_si128(ints, _mm_cmpgt_epi32(ints, _mm_set1_epi32(INT16_MAX)));
    }
};

/// Works on pairs: a 64-bit half holds two samples, in six bytes of it on the host's side and in two integers
/// on the other. Halves are loaded and stored six bytes apart, the last one two bytes early to end with its
/// samples.
struct Sse2Pcm24 : Pcm24 {
    static constexpr std::size_t kStep = 8;

    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        const __m128i last = _mm_srli_epi64(Load64(from + 16), 16);
        PutTopBits<kCopies>(stereo, Spread(_mm_unpacklo_epi64(Load64(from), Load64(from + 6))),
            Spread(_mm_unpacklo_epi64(Load64(from + 12), last)));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto ints = TakeInts<Pcm24, kCopies>(stereo);
        const __m128i lo = Gather(ints.lo);
        const __m128i hi = Gather(ints.hi);
        const __m128i last = _mm_unpackhi_epi64(hi, hi);
        Store64(to, lo);
        Store64(to + 6, _mm_unpackhi_epi64(lo, lo));
        Store64(to + 12, hi);
        Store64(to + 16, _mm_or_si128(_mm_srli_epi64(hi, 32), _mm_slli_epi64(last, 16)));
    }

private:
    static __m128i Spread(__m128i pairs) {
        const __m128i first = _mm_and_si128(_mm_slli_epi64(pairs, 8), _mm_set1_epi64x(0x0000'0000'FFFF'FFFF));
        const __m128i second = _mm_and_si128(_mm_slli_epi64(pairs, 16), _mm_set1_epi64x(~0xFF'FFFF'FFFF));
        return _mm_or_si128(first, second);
    }
    static __m128i Gather(__m128i ints) {
        const __m128i first = _mm_and_si128(ints, _mm_set1_epi64x(0x00FF'FFFF));
        const __m128i second = _mm_and_si128(_mm_srli_epi64(ints, 8), _mm_set1_epi64x(0xFFFF'FF00'0000));
        return _mm_or_si128(first, second);
    }
};

struct Sse2Pcm32 : Pcm32 {
    static constexpr std::size_t kStep = 8;

    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        PutTopBits<kCopies>(stereo, Load128(from), Load128(from + 16));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto [lo, hi] = TakeInts<Pcm32, kCopies>(stereo);
        Store128(to, lo);
        Store128(to + 16, hi);
    }
};

struct Sse2Float32 : Float32 {
    static constexpr std::size_t kStep = 8;

    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
        Put<kCopies>(stereo, _mm_castsi128_ps(Load128(from)), _mm_castsi128_ps(Load128(from + 16)));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        Store128(to, _mm_castps_si128(Take<kCopies>(stereo)));
        Store128(to + 16, _mm_castps_si128(Take<kCopies>(stereo + 4 * kCopies)));
    }
};

} // namespace

constinit const std::array<FmtKernels, 5> kFmtKernelsSse2 = {KernelsOf<Sse2Pcm8>(), KernelsOf<Sse2Pcm16>(),
    KernelsOf<Sse2Pcm24>(), KernelsOf<Sse2Pcm32>(), KernelsOf<Sse2Float32>()};
