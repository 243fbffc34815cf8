#pragma once

#include "dsp/fmt_kernels.h"

#include <windows.h>
#include <mmreg.h>
#include <emmintrin.h>
#include <cstddef>
#include <cstring>

// What the kernels of all formats and instruction sets have in common. All formats go the same two ways.
// To float: the sample as an integer, times a power of two. Only the conversion of 32-bit samples rounds,
// once; the factor is exact.
// From float: a factor of 2^(bits - 1), exact as well, then the processor rounds to a 32-bit integer (to
// nearest, ties to even; INT32_MIN for what does not fit and for NaN), of which the format keeps what it
// keeps.
//
// A format is described by the single sample here. An instruction set's source file derives from that, adds
// how it takes kStep samples at once (the same results, to the bit), and names the formats that it has:
//   kStep                                         samples
//   StepToFloat<kCopies>(from, stereo)            kCopies: floats that a host sample has on the other side, 2
//   StepFromFloat<kCopies>(stereo, to)            in mono and else 1; of two the first is written back
//   TryStepFromFloat<kCopies>(stereo, to)         where there is a faster way that fails on rare samples:
//                                                 false, and then what it wrote is written again
//   StepApartToFloat(from, frameBytes, stereo)    where it pays, the first two samples of four wide frames;
//   StepApartFromFloat(stereo, to, frameBytes)    not the call's last
//
// Included by those files only. Everything lies in an unnamed namespace, and nothing calls into a library:
// the linker must not take the code that was compiled for one instruction set for another's.

namespace {

using Byte = std::uint8_t;

template <typename T>
T Read(const Byte* from) {
    T value;
    std::memcpy(&value, from, sizeof(value));
    return value;
}

template <std::size_t kSampleBytes>
struct Pcm {
    static constexpr std::uint32_t kTag = WAVE_FORMAT_PCM;
    static constexpr std::size_t kBytes = kSampleBytes;
    static constexpr float kFullScale = static_cast<float>(1u << (8 * kBytes - 1));

    // One sample, in the lowest lane. The integer to decode has the sample in its top bits.
    static __m128 Decode(__m128i integer) {
        return _mm_mul_ps(_mm_cvtepi32_ps(integer), _mm_set1_ps(0x1p-31f));
    }
    static __m128i Encode(__m128 value) {
        return _mm_cvtps_epi32(_mm_mul_ps(value, _mm_set1_ps(kFullScale)));
    }
};

struct Pcm8 : Pcm<1> {
    static std::int32_t LoadOne(const Byte* from) { return static_cast<std::int32_t>((*from ^ 0x80u) << 24); }
    static void StoreOne(Byte* to, std::int32_t value) { *to = static_cast<Byte>(value ^ 0x80); }
};

struct Pcm16 : Pcm<2> {
    static std::int32_t LoadOne(const Byte* from) { return Read<std::int16_t>(from) * 0x10000; }
    static void StoreOne(Byte* to, std::int32_t value) {
        const auto low = static_cast<std::int16_t>(value);
        const std::int16_t kept = low == value ? low : std::int16_t{INT16_MIN};
        std::memcpy(to, &kept, sizeof(kept));
    }
};

struct Pcm24 : Pcm<3> {
    static std::int32_t LoadOne(const Byte* from) {
        return static_cast<std::int32_t>(Read<std::uint16_t>(from) * 0x100u | std::uint32_t{from[2]} << 24);
    }
    static void StoreOne(Byte* to, std::int32_t value) { std::memcpy(to, &value, kBytes); }
};

struct Pcm32 : Pcm<4> {
    static std::int32_t LoadOne(const Byte* from) { return Read<std::int32_t>(from); }
    static void StoreOne(Byte* to, std::int32_t value) { std::memcpy(to, &value, kBytes); }
};

/// Lies in memory as 32-bit PCM does. The bits are kept whatever they mean: no arithmetic, no x87 register.
struct Float32 : Pcm32 {
    static constexpr std::uint32_t kTag = WAVE_FORMAT_IEEE_FLOAT;
    static __m128 Decode(__m128i bits) { return _mm_castsi128_ps(bits); }
    static __m128i Encode(__m128 value) { return _mm_castps_si128(value); }
};

// Frames of one or two channels are a plain run of samples. It ends with a step that repeats some of the
// samples before it, which does no harm: what is read is not written. Runs shorter than a step go one by one.

template <typename Sample, std::size_t kChannels>
void RunToFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t) {
    constexpr std::size_t kCopies = 2 / kChannels;
    const Byte* const from = *cursor;
    const std::size_t samples = std::size_t{frames} * kChannels;
    *cursor += samples * Sample::kBytes;
    const auto step = [=](std::size_t at) {
        Sample::template StepToFloat<kCopies>(from + at * Sample::kBytes, stereo + at * kCopies);
    };
    std::size_t done = 0;
    for (; done + Sample::kStep <= samples; done += Sample::kStep)
        step(done);
    if (done == samples)
        return;
    if (done != 0)
        return step(samples - Sample::kStep);
    for (; done != samples; ++done) {
        const __m128 one = Sample::Decode(_mm_cvtsi32_si128(Sample::LoadOne(from + done * Sample::kBytes)));
        for (std::size_t copy = 0; copy != kCopies; ++copy)
            _mm_store_ss(stereo + done * kCopies + copy, one);
    }
}

template <typename Sample, std::size_t kChannels>
void RunFromFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t) {
    constexpr std::size_t kCopies = 2 / kChannels;
    Byte* const to = *cursor;
    const std::size_t samples = std::size_t{frames} * kChannels;
    *cursor += samples * Sample::kBytes;
    const auto step = [=](std::size_t at) {
        Sample::template StepFromFloat<kCopies>(stereo + at * kCopies, to + at * Sample::kBytes);
    };
    std::size_t done = 0;
    if constexpr (requires { &Sample::template TryStepFromFloat<kCopies>; })
        while (done + Sample::kTryStep <= samples && Sample::template TryStepFromFloat<kCopies>(
                                                         stereo + done * kCopies, to + done * Sample::kBytes))
            done += Sample::kTryStep;
    for (; done + Sample::kStep <= samples; done += Sample::kStep)
        step(done);
    if (done == samples)
        return;
    if (done != 0)
        return step(samples - Sample::kStep);
    for (; done != samples; ++done) {
        const __m128i one = Sample::Encode(_mm_load_ss(stereo + done * kCopies));
        Sample::StoreOne(to + done * Sample::kBytes, _mm_cvtsi128_si32(one));
    }
}

// Of wider frames the first two samples are processed: four frames at once where the instruction set gains
// from that, and frame by frame.

constexpr std::uint32_t kFramesApart = 4;

template <typename Sample>
void FirstTwoToFloat(Byte** cursor, std::uint32_t frames, float* stereo, std::uint32_t channels) {
    const std::size_t frameBytes = channels * Sample::kBytes;
    const Byte* from = *cursor;
    *cursor += frames * frameBytes;
    if constexpr (requires { &Sample::StepApartToFloat; })
        for (; frames >= kFramesApart; frames -= kFramesApart) {
            Sample::StepApartToFloat(from, frameBytes, stereo);
            from += kFramesApart * frameBytes;
            stereo += 2 * kFramesApart;
        }
    for (; frames != 0; --frames) {
        const __m128i left = _mm_cvtsi32_si128(Sample::LoadOne(from));
        const __m128i right = _mm_cvtsi32_si128(Sample::LoadOne(from + Sample::kBytes));
        _mm_storel_pi(reinterpret_cast<__m64*>(stereo), Sample::Decode(_mm_unpacklo_epi32(left, right)));
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
    if constexpr (requires { &Sample::StepApartFromFloat; })
        for (; frames > kFramesApart; frames -= kFramesApart) { // never the last frame
            Sample::StepApartFromFloat(stereo, to, frameBytes);
            to += kFramesApart * frameBytes;
            stereo += 2 * kFramesApart;
        }
    const auto storeFrame = [&to, &stereo](void (*storeRight)(Byte*, std::int32_t)) {
        const __m128 pair = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(stereo));
        const __m128i ints = Sample::Encode(pair);
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
constexpr FmtKernels KernelsOf() {
    return {Sample::kTag, 8 * Sample::kBytes, {RunToFloat<Sample, 1>, RunFromFloat<Sample, 1>},
        {RunToFloat<Sample, 2>, RunFromFloat<Sample, 2>},
        {FirstTwoToFloat<Sample>, FirstTwoFromFloat<Sample>}};
}

} // namespace
