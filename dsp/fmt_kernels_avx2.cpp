#include "dsp/fmt_kernel_shape.h"
#include "dsp/fmt_kernels_sets.h"

#include <immintrin.h>

// Every format loads eight samples at once, in a row (Load) or as the first two of four frames (LoadApart),
// and makes floats of them (Floats). Back, eight floats are rounded to integers (Ints) and packed.

namespace {

__m128i Load64(const Byte* from) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
}

__m128i Load128(const Byte* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

__m256i Load256(const Byte* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// Two 64-bit halves.
__m128i Load64And64(const Byte* lo, const Byte* hi) {
    return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(Load64(lo)), reinterpret_cast<const __m64*>(hi)));
}

/// The first 64 bits of each of four frames.
__m256i Load64Apart(const Byte* from, std::size_t frameBytes) {
    const __m128i lo = Load64And64(from, from + frameBytes);
    const __m128i hi = Load64And64(from + 2 * frameBytes, from + 3 * frameBytes);
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

void Store256(Byte* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

/// 64 bits to each of four frames.
void Store64Apart(Byte* to, std::size_t frameBytes, __m256i value) {
    const __m128 lo = _mm_castsi128_ps(_mm256_castsi256_si128(value));
    const __m128 hi = _mm_castsi128_ps(_mm256_extracti128_si256(value, 1));
    _mm_storel_pi(reinterpret_cast<__m64*>(to), lo);
    _mm_storeh_pi(reinterpret_cast<__m64*>(to + frameBytes), lo);
    _mm_storel_pi(reinterpret_cast<__m64*>(to + 2 * frameBytes), hi);
    _mm_storeh_pi(reinterpret_cast<__m64*>(to + 3 * frameBytes), hi);
}

template <typename Integer>
void Store(Byte* to, int value) {
    const auto kept = static_cast<Integer>(value);
    std::memcpy(to, &kept, sizeof kept);
}

/// Eight host samples' floats to where they belong.
template <std::size_t kCopies>
void Put(float* to, __m256 floats) {
    if constexpr (kCopies == 1) {
        _mm256_storeu_ps(to, floats);
    } else {
        _mm256_storeu_ps(to, _mm256_permutevar8x32_ps(floats, _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3)));
        _mm256_storeu_ps(to + 8, _mm256_permutevar8x32_ps(floats, _mm256_setr_epi32(4, 4, 5, 5, 6, 6, 7, 7)));
    }
}

/// The floats of eight host samples.
template <std::size_t kCopies>
__m256 Take(const float* from) {
    const __m256 floats = _mm256_loadu_ps(from);
    if constexpr (kCopies == 1)
        return floats;
    const __m256 lefts = _mm256_shuffle_ps(floats, _mm256_loadu_ps(from + 8), _MM_SHUFFLE(2, 0, 2, 0));
    return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(lefts), _MM_SHUFFLE(3, 1, 2, 0)));
}

template <typename Format>
__m256i Ints(__m256 floats) {
    return _mm256_cvtps_epi32(_mm256_mul_ps(floats, _mm256_set1_ps(Format::kFullScale)));
}

// The lanes of packed vectors come out as 0 2 1 3.
__m256i InOrder(__m256i packed) {
    return _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
}

/// The way to float, the same for all formats.
template <typename Format>
struct Avx2 : Format {
    template <std::size_t kCopies>
    static void StepToFloat(const Byte* from, float* stereo) {
#pragma GCC unroll 4
        for (std::size_t n = 0; n != Format::kStep; n += 8)
            Put<kCopies>(stereo + n * kCopies, Format::Floats(Format::Load(from + n * Format::kBytes)));
    }

    static void StepApartToFloat(const Byte* from, std::size_t frameBytes, float* stereo) {
        Put<1>(stereo, Format::Floats(Format::LoadApart(from, frameBytes)));
    }
};

// Samples of up to 16 bits take no conversion to float: with the top bit flipped they count up from the
// bottom of the range, and are the low fraction bits of a float whose exponent makes their unit that of the
// sample. What is too much is then taken off; both steps are exact.

struct Avx2Pcm8 : Pcm8 {
    static constexpr std::size_t kStep = 32;

    static __m128i Load(const Byte* from) { return Load64(from); }

    static __m128i LoadApart(const Byte* from, std::size_t frameBytes) {
        __m128i words = _mm_cvtsi32_si128(Read<std::uint16_t>(from));
        words = _mm_insert_epi16(words, Read<std::uint16_t>(from + frameBytes), 1);
        words = _mm_insert_epi16(words, Read<std::uint16_t>(from + 2 * frameBytes), 2);
        return _mm_insert_epi16(words, Read<std::uint16_t>(from + 3 * frameBytes), 3);
    }

    static __m256 Floats(__m128i bytes) {
        const __m256i raised = _mm256_or_si256(_mm256_cvtepu8_epi32(bytes), _mm256_set1_epi32(kUnit));
        return _mm256_sub_ps(_mm256_castsi256_ps(raised), _mm256_set1_ps(0x1p16f + 1));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto words = [stereo](std::size_t n) {
            const __m256i low = _mm256_set1_epi32(0xFF); // the packs must find nothing to saturate
            return _mm256_packs_epi32(_mm256_and_si256(Ints<Pcm8>(Take<kCopies>(stereo + n * kCopies)), low),
                _mm256_and_si256(Ints<Pcm8>(Take<kCopies>(stereo + (n + 8) * kCopies)), low));
        };
        const __m256i bytes = _mm256_packus_epi16(words(0), words(16));
        const __m256i inOrder = _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
        Store256(to, _mm256_xor_si256(inOrder, _mm256_set1_epi8(kZero)));
    }

    static void StepApartFromFloat(const float* stereo, Byte* to, std::size_t frameBytes) {
        const __m256i lowBytes = _mm256_broadcastsi128_si256(
            _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
        const __m256i bytes = _mm256_xor_si256(
            _mm256_shuffle_epi8(Ints<Pcm8>(Take<1>(stereo)), lowBytes), _mm256_set1_epi8(kZero));
        const __m128i lo = _mm256_castsi256_si128(bytes);
        const __m128i hi = _mm256_extracti128_si256(bytes, 1);
        Store<std::uint16_t>(to, _mm_extract_epi16(lo, 0));
        Store<std::uint16_t>(to + frameBytes, _mm_extract_epi16(lo, 1));
        Store<std::uint16_t>(to + 2 * frameBytes, _mm_extract_epi16(hi, 0));
        Store<std::uint16_t>(to + 3 * frameBytes, _mm_extract_epi16(hi, 1));
    }

private:
    static constexpr char kZero = '\x80';
    static constexpr int kUnit = 0x4780'0000; // 2^16: the fraction's last bit is 2^-7
};

struct Avx2Pcm16 : Pcm16 {
    static constexpr std::size_t kStep = 16;
    static constexpr std::size_t kTryStep = 64;

    static __m128i Load(const Byte* from) { return Load128(from); }

    static __m128i LoadApart(const Byte* from, std::size_t frameBytes) {
        __m128i pairs = _mm_cvtsi32_si128(Read<int>(from));
        pairs = _mm_insert_epi32(pairs, Read<int>(from + frameBytes), 1);
        pairs = _mm_insert_epi32(pairs, Read<int>(from + 2 * frameBytes), 2);
        return _mm_insert_epi32(pairs, Read<int>(from + 3 * frameBytes), 3);
    }

    static __m256 Floats(__m128i words) {
        const __m256i raised =
            _mm256_xor_si256(_mm256_cvtepu16_epi32(words), _mm256_set1_epi32(kUnitAndTopBit));
        return _mm256_sub_ps(_mm256_castsi256_ps(raised), _mm256_set1_ps(0x1p8f + 1));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const __m256i lo = TooLargeToNegative(Ints<Pcm16>(Take<kCopies>(stereo)));
        const __m256i hi = TooLargeToNegative(Ints<Pcm16>(Take<kCopies>(stereo + 8 * kCopies)));
        Store256(to, InOrder(_mm256_packs_epi32(lo, hi)));
    }

    /// Lets packing saturate what lies above the range to the top, and fails if anything came out there.
    template <std::size_t kCopies>
    static bool TryStepFromFloat(const float* stereo, Byte* to) {
        __m256i largest = _mm256_setzero_si256();
#pragma GCC unroll 4
        for (std::size_t n = 0; n != kTryStep; n += 16) {
            const __m256i packed = _mm256_packs_epi32(Ints<Pcm16>(Take<kCopies>(stereo + n * kCopies)),
                Ints<Pcm16>(Take<kCopies>(stereo + (n + 8) * kCopies)));
            largest = _mm256_max_epi16(largest, packed);
            Store256(to + 2 * n, InOrder(packed));
        }
        return _mm256_movemask_epi8(_mm256_cmpeq_epi16(largest, _mm256_set1_epi16(INT16_MAX))) == 0;
    }

    static void StepApartFromFloat(const float* stereo, Byte* to, std::size_t frameBytes) {
        const __m256i ints = TooLargeToNegative(Ints<Pcm16>(Take<1>(stereo)));
        const __m128i pairs =
            _mm_packs_epi32(_mm256_castsi256_si128(ints), _mm256_extracti128_si256(ints, 1));
        Store<int>(to, _mm_cvtsi128_si32(pairs));
        Store<int>(to + frameBytes, _mm_extract_epi32(pairs, 1));
        Store<int>(to + 2 * frameBytes, _mm_extract_epi32(pairs, 2));
        Store<int>(to + 3 * frameBytes, _mm_extract_epi32(pairs, 3));
    }

private:
    static constexpr int kUnitAndTopBit = 0x4380'8000; // 2^8: the fraction's last bit is 2^-15

    /// Inverts what lies above the range, so that packing saturates it to the bottom and not to the top.
    static __m256i TooLargeToNegative(__m256i ints) {
        return _mm256_xor_si256(ints, _mm256_cmpgt_epi32(ints, _mm256_set1_epi32(INT16_MAX)));
    }
};

struct Avx2Pcm24 : Pcm24 {
    static constexpr std::size_t kStep = 32;

    // Eight samples are 24 bytes: the lower lane takes the first 16 of them, the upper one the last.
    static __m256i Load(const Byte* from) {
        const __m256i places = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, //
            -1, 4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15);
        const __m256i bytes =
            _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(from)), Load128(from + 8), 1);
        return _mm256_shuffle_epi8(bytes, places);
    }

    static __m256i LoadApart(const Byte* from, std::size_t frameBytes) {
        const __m256i places = _mm256_broadcastsi128_si256(
            _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 8, 9, 10, -1, 11, 12, 13));
        return _mm256_shuffle_epi8(Load64Apart(from, frameBytes), places);
    }

    static __m256 Floats(__m256i topBits) {
        return _mm256_mul_ps(_mm256_cvtepi32_ps(topBits), _mm256_set1_ps(0x1p-31f));
    }

    // Eight samples fill six of a vector's eight places, and four times eight three whole vectors.
    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
        const auto gathered = [stereo](std::size_t n, __m256i places) {
            const __m256i gather = _mm256_broadcastsi128_si256(
                _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
            const __m256i ints = Ints<Pcm24>(Take<kCopies>(stereo + n * kCopies));
            return _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(ints, gather), places);
        };
        const __m256i a = gathered(0, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
        const __m256i b = gathered(8, _mm256_setr_epi32(2, 4, 5, 6, 7, 7, 0, 1));
        Store256(to, _mm256_blend_epi32(a, b, 0b1100'0000));
        const __m256i c = gathered(16, _mm256_setr_epi32(5, 6, 7, 7, 0, 1, 2, 4));
        Store256(to + 32, _mm256_blend_epi32(b, c, 0b1111'0000));
        const __m256i d = gathered(24, _mm256_setr_epi32(7, 7, 0, 1, 2, 4, 5, 6));
        Store256(to + 64, _mm256_blend_epi32(c, d, 0b1111'1100));
    }

    // Of the left one three bytes, of the right one four: its top byte lies on the channel that follows.
    static void StepApartFromFloat(const float* stereo, Byte* to, std::size_t frameBytes) {
        const __m256i places =
            _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 4, 5, 6, 7, -1, 8, 9, 10, 12, 13, 14, 15, -1));
        const __m256i seven = _mm256_shuffle_epi8(Ints<Pcm24>(Take<1>(stereo)), places);
        const __m256i eighth = _mm256_set1_epi64x(static_cast<long long>(0xFF00'0000'0000'0000));
        Store64Apart(to, frameBytes, _mm256_blendv_epi8(seven, Load64Apart(to, frameBytes), eighth));
    }
};

/// Samples of a float's size. Sample: Pcm32 or Float32.
template <typename Sample>
struct Avx2Whole : Sample {
    static constexpr std::size_t kStep = 32;

    static __m256i Load(const Byte* from) { return Load256(from); }
    static __m256i LoadApart(const Byte* from, std::size_t frameBytes) {
        return Load64Apart(from, frameBytes);
    }

    static __m256 Floats(__m256i bits) {
        if constexpr (kIsFloat)
            return _mm256_castsi256_ps(bits);
        return _mm256_mul_ps(_mm256_cvtepi32_ps(bits), _mm256_set1_ps(0x1p-31f));
    }

    template <std::size_t kCopies>
    static void StepFromFloat(const float* stereo, Byte* to) {
#pragma GCC unroll 4
        for (std::size_t n = 0; n != kStep; n += 8)
            Store256(to + 4 * n, Bits(Take<kCopies>(stereo + n * kCopies)));
    }

    static void StepApartFromFloat(const float* stereo, Byte* to, std::size_t frameBytes) {
        Store64Apart(to, frameBytes, Bits(Take<1>(stereo)));
    }

private:
    static constexpr bool kIsFloat = Sample::kTag == WAVE_FORMAT_IEEE_FLOAT;

    static __m256i Bits(__m256 floats) {
        if constexpr (kIsFloat)
            return _mm256_castps_si256(floats);
        return Ints<Pcm32>(floats);
    }
};

} // namespace

constinit const std::array<FmtKernels, 5> kFmtKernelsAvx2 = {KernelsOf<Avx2<Avx2Pcm8>>(),
    KernelsOf<Avx2<Avx2Pcm16>>(), KernelsOf<Avx2<Avx2Pcm24>>(), KernelsOf<Avx2<Avx2Whole<Pcm32>>>(),
    KernelsOf<Avx2<Avx2Whole<Float32>>>()};

void LeaveAvx2() {
    constexpr unsigned kUpperHalves = 4;
    // What XRSTOR reads: that it is to find no saved state, and MXCSR, which it loads in any case.
    struct alignas(64) {
        unsigned unread[6];
        unsigned mxcsr;
        unsigned unreadToo[121];
        unsigned header[16];
    } state;
    static_assert(sizeof state == 576);
    state.mxcsr = _mm_getcsr();
    for (unsigned& word : state.header)
        word = 0;
    _xrstor(&state, kUpperHalves);
}
