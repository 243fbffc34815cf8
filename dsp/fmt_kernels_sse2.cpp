#include "dsp/fmt_kernels.h"

#include <windows.h>
#include <mmreg.h>
#include <emmintrin.h>
#include <cstddef>
#include <cstring>

// All formats go the same two ways.
// To float: a sample is loaded into the top bits of a 32-bit integer, so that one factor, 2^-31, serves every
// width. Only the conversion of 32-bit samples rounds, once; the factor is exact.
// From float: a factor of 2^(bits - 1), exact as well, then the processor rounds to a 32-bit integer (to
// nearest, ties to even; INT32_MIN for what does not fit and for NaN). The format's store makes the sample of
// it.
//
// A format is a struct: kBytes of a sample, Load8 and LoadOne (samples to integers), Decode (integers to
// floats), Encode (floats to integers), Store8 and StoreOne (integers to samples). Single samples take the
// same Decode and Encode in the lowest lane, so where a block ends does not change a bit of it.
//
// Nothing here has external linkage but the table: a twin of this file for another instruction set may use
// the same names, and the linker must not take one's code for the other's.

namespace {

using Byte = std::uint8_t;

constexpr std::size_t kStep = 8; // samples

struct Ints8 {
    __m128i lo;
    __m128i hi;
};

template <typename T>
T Read(const Byte* from) {
    T value;
    std::memcpy(&value, from, sizeof(value));
    return value;
}

__m128i Load64(const void* from) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(from));
}

__m128i Load128(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

void Store64(void* to, __m128i value) {
    _mm_storel_epi64(static_cast<__m128i*>(to), value);
}

void Store128(void* to, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

template <std::size_t kSampleBytes>
struct Pcm {
    static constexpr std::size_t kBytes = kSampleBytes;
    static constexpr float kFullScale = static_cast<float>(1u << (8 * kBytes - 1));

    static __m128 Decode(__m128i ints) { return _mm_mul_ps(_mm_cvtepi32_ps(ints), _mm_set1_ps(0x1p-31f)); }
    static __m128i Encode(__m128 floats) {
        return _mm_cvtps_epi32(_mm_mul_ps(floats, _mm_set1_ps(kFullScale)));
    }
};

struct Pcm8 : Pcm<1> {
    static constexpr char kZero = '\x80'; // adding 128 to a byte, or taking it off, is flipping its top bit

    static Ints8 Load8(const Byte* from) {
        const __m128i none = _mm_setzero_si128();
        const __m128i words = _mm_unpacklo_epi8(none, _mm_xor_si128(Load64(from), _mm_set1_epi8(kZero)));
        return {_mm_unpacklo_epi16(none, words), _mm_unpackhi_epi16(none, words)};
    }
    static std::int32_t LoadOne(const Byte* from) { return static_cast<std::int32_t>((*from ^ 0x80u) << 24); }

    static void Store8(Byte* to, Ints8 ints) {
        const __m128i low = _mm_set1_epi32(0xFF); // the packs must find nothing to saturate
        const __m128i words = _mm_packs_epi32(_mm_and_si128(ints.lo, low), _mm_and_si128(ints.hi, low));
        Store64(to, _mm_xor_si128(_mm_packus_epi16(words, words), _mm_set1_epi8(kZero)));
    }
    static void StoreOne(Byte* to, std::int32_t value) { *to = static_cast<Byte>(value ^ 0x80); }
};

struct Pcm16 : Pcm<2> {
    static Ints8 Load8(const Byte* from) {
        const __m128i none = _mm_setzero_si128();
        const __m128i words = Load128(from);
        return {_mm_unpacklo_epi16(none, words), _mm_unpackhi_epi16(none, words)};
    }
    static std::int32_t LoadOne(const Byte* from) { return Read<std::int16_t>(from) * 0x10000; }

    static void Store8(Byte* to, Ints8 ints) {
        Store128(to, _mm_packs_epi32(TooLargeToNegative(ints.lo), TooLargeToNegative(ints.hi)));
    }
    static void StoreOne(Byte* to, std::int32_t value) {
        const auto low = static_cast<std::int16_t>(value);
        const std::int16_t kept = low == value ? low : std::int16_t{INT16_MIN};
        std::memcpy(to, &kept, sizeof(kept));
    }

private:
    /// Inverts what lies above the range, so that packing saturates it to the bottom and not to the top.
    static __m128i TooLargeToNegative(__m128i ints) {
        return _mm_xor_si128(ints, _mm_cmpgt_epi32(ints, _mm_set1_epi32(INT16_MAX)));
    }
};

// Works on pairs: a 64-bit half holds two samples, in six bytes of it on the host's side and in two integers
// on the other. Halves are loaded and stored six bytes apart, the last one two bytes early to end with its
// samples.
struct Pcm24 : Pcm<3> {
    static Ints8 Load8(const Byte* from) {
        const __m128i last = _mm_srli_epi64(Load64(from + 16), 16);
        return {Spread(_mm_unpacklo_epi64(Load64(from), Load64(from + 6))),
            Spread(_mm_unpacklo_epi64(Load64(from + 12), last))};
    }
    static std::int32_t LoadOne(const Byte* from) {
        return static_cast<std::int32_t>(Read<std::uint16_t>(from) * 0x100u | std::uint32_t{from[2]} << 24);
    }

    static void Store8(Byte* to, Ints8 ints) {
        const __m128i lo = Gather(ints.lo);
        const __m128i hi = Gather(ints.hi);
        const __m128i last = _mm_unpackhi_epi64(hi, hi);
        Store64(to, lo);
        Store64(to + 6, _mm_unpackhi_epi64(lo, lo));
        Store64(to + 12, hi);
        Store64(to + 16, _mm_or_si128(_mm_srli_epi64(hi, 32), _mm_slli_epi64(last, 16)));
    }
    static void StoreOne(Byte* to, std::int32_t value) { std::memcpy(to, &value, kBytes); }

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

struct Pcm32 : Pcm<4> {
    static Ints8 Load8(const Byte* from) { return {Load128(from), Load128(from + 16)}; }
    static std::int32_t LoadOne(const Byte* from) { return Read<std::int32_t>(from); }

    static void Store8(Byte* to, Ints8 ints) {
        Store128(to, ints.lo);
        Store128(to + 16, ints.hi);
    }
    static void StoreOne(Byte* to, std::int32_t value) { std::memcpy(to, &value, kBytes); }
};

/// Lies in memory as 32-bit PCM does. The bits are kept whatever they mean: no arithmetic, no x87 register.
struct Float32 : Pcm32 {
    static __m128 Decode(__m128i ints) { return _mm_castsi128_ps(ints); }
    static __m128i Encode(__m128 floats) { return _mm_castps_si128(floats); }
};

// The float side. kCopies is the count of floats that a host sample has there: 2 in mono, else 1.

template <std::size_t kCopies>
void PutFour(float* to, __m128 floats) {
    if constexpr (kCopies == 1) {
        _mm_storeu_ps(to, floats);
    } else {
        _mm_storeu_ps(to, _mm_unpacklo_ps(floats, floats));
        _mm_storeu_ps(to + 4, _mm_unpackhi_ps(floats, floats));
    }
}

template <std::size_t kCopies>
__m128 TakeFour(const float* from) {
    const __m128 floats = _mm_loadu_ps(from);
    return kCopies == 1 ? floats : _mm_shuffle_ps(floats, _mm_loadu_ps(from + 4), _MM_SHUFFLE(2, 0, 2, 0));
}

// Frames of one or two channels are a plain run of samples.

template <typename Sample, std::size_t kChannels>
void RunToFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t) {
    constexpr std::size_t kCopies = 2 / kChannels;
    const Byte* from = *cursor;
    std::size_t left = std::size_t{frames} * kChannels;
    *cursor += left * Sample::kBytes;
    for (; left >= kStep; left -= kStep) {
        const Ints8 ints = Sample::Load8(from);
        PutFour<kCopies>(stereo, Sample::Decode(ints.lo));
        PutFour<kCopies>(stereo + 4 * kCopies, Sample::Decode(ints.hi));
        from += kStep * Sample::kBytes;
        stereo += kStep * kCopies;
    }
    for (; left != 0; --left) {
        const __m128 one = Sample::Decode(_mm_cvtsi32_si128(Sample::LoadOne(from)));
        for (std::size_t copy = 0; copy != kCopies; ++copy)
            _mm_store_ss(stereo++, one);
        from += Sample::kBytes;
    }
}

template <typename Sample, std::size_t kChannels>
void RunFromFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t) {
    constexpr std::size_t kCopies = 2 / kChannels;
    Byte* to = *cursor;
    std::size_t left = std::size_t{frames} * kChannels;
    *cursor += left * Sample::kBytes;
    for (; left >= kStep; left -= kStep) {
        const __m128i lo = Sample::Encode(TakeFour<kCopies>(stereo));
        const __m128i hi = Sample::Encode(TakeFour<kCopies>(stereo + 4 * kCopies));
        Sample::Store8(to, {lo, hi});
        stereo += kStep * kCopies;
        to += kStep * Sample::kBytes;
    }
    for (; left != 0; --left) {
        Sample::StoreOne(to, _mm_cvtsi128_si32(Sample::Encode(_mm_load_ss(stereo))));
        stereo += kCopies;
        to += Sample::kBytes;
    }
}

// Of wider frames the first two samples are processed.

template <typename Sample>
void FirstTwoToFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t channels) {
    const std::size_t frameBytes = channels * Sample::kBytes;
    const Byte* from = *cursor;
    *cursor += frames * frameBytes;
    for (; frames != 0; --frames) {
        const __m128i left = _mm_cvtsi32_si128(Sample::LoadOne(from));
        const __m128i right = _mm_cvtsi32_si128(Sample::LoadOne(from + Sample::kBytes));
        Store64(stereo, _mm_castps_si128(Sample::Decode(_mm_unpacklo_epi32(left, right))));
        from += frameBytes;
        stereo += 2;
    }
}

/// Stores a sample that is not the call's last. 24-bit samples go out as whole integers, so that the top byte
/// of the right one lands on the lowest byte of the channel that follows it; hosts get to see this.
template <typename Sample>
void StoreBeforeLast(Byte* to, std::int32_t value) {
    if constexpr (Sample::kBytes == 3)
        std::memcpy(to, &value, sizeof(value));
    else
        Sample::StoreOne(to, value);
}

template <typename Sample>
void FirstTwoFromFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t channels) {
    const std::size_t frameBytes = channels * Sample::kBytes;
    Byte* to = *cursor;
    *cursor += frames * frameBytes;
    const auto storeFrame = [&to, &stereo](void (*storeRight)(Byte*, std::int32_t)) {
        const __m128i ints = Sample::Encode(_mm_castsi128_ps(Load64(stereo)));
        StoreBeforeLast<Sample>(to, _mm_cvtsi128_si32(ints));
        storeRight(to + Sample::kBytes, _mm_cvtsi128_si32(_mm_srli_epi64(ints, 32)));
    };
    for (; frames > 1; --frames) {
        storeFrame(StoreBeforeLast<Sample>);
        to += frameBytes;
        stereo += 2;
    }
    if (frames == 1)
        storeFrame(Sample::StoreOne);
}

template <typename Sample>
constexpr FmtKernels KernelsOf(std::uint32_t formatTag) {
    return {formatTag, 8 * Sample::kBytes, {RunToFloat<Sample, 1>, RunFromFloat<Sample, 1>},
        {RunToFloat<Sample, 2>, RunFromFloat<Sample, 2>},
        {FirstTwoToFloat<Sample>, FirstTwoFromFloat<Sample>}};
}

} // namespace

constinit const FmtKernelTable kFmtKernelsSse2 = {KernelsOf<Pcm8>(WAVE_FORMAT_PCM),
    KernelsOf<Pcm16>(WAVE_FORMAT_PCM), KernelsOf<Pcm24>(WAVE_FORMAT_PCM), KernelsOf<Pcm32>(WAVE_FORMAT_PCM),
    KernelsOf<Float32>(WAVE_FORMAT_IEEE_FLOAT)};
