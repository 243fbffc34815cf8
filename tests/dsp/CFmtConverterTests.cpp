#include "dsp/CFmtConverter.h"
#include "tests/dsp/fmt_reference.h"

#include <windows.h>
#include <doctest/doctest.h>
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace {

using fmt_reference::Format;
using Byte = std::uint8_t;
using std::uint32_t;

constexpr Format kFormats[] = {
    {"8 bit", 1, 8}, {"16 bit", 1, 16}, {"24 bit", 1, 24}, {"32 bit", 1, 32}, {"float", 3, 32}};

std::unique_ptr<CFmtConverter> MakeFitted(const Format& format, uint32_t channels) {
    auto converter = std::make_unique<CFmtConverter>();
    REQUIRE(converter->Init(format.tag, format.bits, channels) == 1);
    REQUIRE(converter->IsFitted());
    return converter;
}

uint32_t Bits(float value) {
    return std::bit_cast<uint32_t>(value);
}

/// Float bits of all kinds: half of them anything, half between 2^-27 and 2 in magnitude.
class CFloatSource {
public:
    uint32_t Next() {
        const uint32_t bits = m_random();
        return m_random() % 2 == 0 ? bits : (bits & 0x807F'FFFF) | (100 + (bits >> 23) % 28) << 23;
    }

private:
    std::mt19937 m_random{20};
};

/// The routines of every instruction set that this machine has.
std::vector<FmtRoutinePair> AllRoutines(const Format& format, uint32_t channels) {
    std::vector<FmtRoutinePair> all;
    for (const FmtInstructionSet& set : FmtInstructionSets())
        if (const FmtKernels* const kernels = set.isUsable() ? set.Find(format.tag, format.bits) : nullptr)
            all.push_back(kernels->For(channels));
    return all;
}

/// Converts values (float bits, or samples) in calls of one scratch, by every instruction set, and compares
/// each call with the reference. Three channels are taken in other steps than two.
void Sweep(const Format& format, bool toFloat, const std::vector<uint32_t>& values) {
    constexpr std::size_t kSamples = CFmtConverter::kScratchFrames * 2;
    for (const uint32_t channels : {2u, 3u}) {
        CAPTURE(format.name);
        CAPTURE(channels);
        const auto converter = MakeFitted(format, channels);
        std::array<Byte, kSamples * 3 * 2> host{}, expected{};
        const auto routines = AllRoutines(format, channels);
        auto* const floats = reinterpret_cast<Byte*>(converter->scratch);
        for (std::size_t at = 0; at < values.size(); at += kSamples) {
            const std::size_t count = std::min(kSamples, values.size() - at);
            const auto frames = static_cast<uint32_t>(count / 2);
            std::memcpy(floats, &values[at], count * 4);
            for (std::size_t i = 0; toFloat && i != count; ++i)
                std::memcpy(
                    &host[(i / 2 * channels + i % 2) * format.Bytes()], &values[at + i], format.Bytes());
            if (toFloat)
                fmt_reference::BlockToFloat(format, host.data(), frames, expected.data(), channels);
            else
                fmt_reference::BlockFromFloat(format, expected.data(), frames, floats, channels);
            const Byte* const result = toFloat ? floats : host.data();
            const std::size_t bytes = std::size_t{frames} * (toFloat ? 8 : converter->frameBytes);
            const auto before = host;
            for (const FmtRoutinePair& pair : routines) {
                host = before;
                if (toFloat)
                    std::memset(floats, 0xAA, count * 4);
                Byte* cursor = host.data();
                (toFloat ? pair.toFloat : pair.fromFloat)(&cursor, frames, converter->scratch, channels);
                REQUIRE_MESSAGE(std::memcmp(result, expected.data(), bytes) == 0, "value ", at);
            }
        }
    }
}

/// The last page of memory before one that may not be touched; never given back.
struct GuardedPage {
    static constexpr std::size_t kBytes = 4096;

    GuardedPage() {
        auto* const pages =
            static_cast<Byte*>(::VirtualAlloc(nullptr, 2 * kBytes, MEM_RESERVE, PAGE_NOACCESS));
        bytes = static_cast<Byte*>(::VirtualAlloc(pages, kBytes, MEM_COMMIT, PAGE_READWRITE));
        REQUIRE(bytes != nullptr);
    }
    Byte* bytes = nullptr;
};

/// Two pages for the converter and two equal ones for the reference. All bytes of them are compared, so that
/// a write beside the frames shows, and a read beyond a page faults.
struct Pages {
    GuardedPage host, stereo;
    std::array<Byte, GuardedPage::kBytes> expectedHost, expectedStereo;
    CFloatSource source;

    void Fill() {
        for (std::size_t i = 0; i != GuardedPage::kBytes; i += 4) {
            const uint32_t bits[] = {source.Next(), source.Next()};
            std::memcpy(expectedHost.data() + i, bits, 4);
            std::memcpy(expectedStereo.data() + i, bits + 1, 4);
        }
        std::memcpy(host.bytes, expectedHost.data(), GuardedPage::kBytes);
        std::memcpy(stereo.bytes, expectedStereo.data(), GuardedPage::kBytes);
    }
    bool AreAsExpected() const {
        return std::memcmp(host.bytes, expectedHost.data(), GuardedPage::kBytes) == 0 &&
               std::memcmp(stereo.bytes, expectedStereo.data(), GuardedPage::kBytes) == 0;
    }
};

// distance: of the samples from the forbidden page, in bytes; of the floats, in floats.
void RunBeforeGuard(
    const Format& format, const CFmtConverter& fitted, Pages& pages, uint32_t frames, std::size_t distance) {
    const std::size_t bytes = std::size_t{frames} * fitted.frameBytes;
    const std::size_t hostAt = GuardedPage::kBytes - bytes - distance;
    const std::size_t stereoAt = GuardedPage::kBytes - (std::size_t{frames} * 2 + distance) * 4;
    CAPTURE(format.name);
    CAPTURE(fitted.channels);
    CAPTURE(frames);
    CAPTURE(distance);
    const auto run = [&](FmtRoutine routine) {
        Byte* cursor = pages.host.bytes + hostAt;
        routine(&cursor, frames, reinterpret_cast<float*>(pages.stereo.bytes + stereoAt), fitted.channels);
        CHECK(cursor == pages.host.bytes + hostAt + bytes);
        CHECK(pages.AreAsExpected());
    };
    for (const FmtRoutinePair& pair : AllRoutines(format, fitted.channels)) {
        pages.Fill(); // arbitrary floats to samples
        fmt_reference::BlockFromFloat(format, pages.expectedHost.data() + hostAt, frames,
            pages.expectedStereo.data() + stereoAt, fitted.channels);
        run(pair.fromFloat);
        pages.Fill(); // arbitrary samples to floats
        fmt_reference::BlockToFloat(format, pages.expectedHost.data() + hostAt, frames,
            pages.expectedStereo.data() + stereoAt, fitted.channels);
        run(pair.toFloat);
    }
}

} // namespace

TEST_CASE("only the listed formats are accepted, and sizes are set even for others") {
    constexpr struct {
        uint32_t tag, bits, channels, accepted, frameBytes;
    } kCases[] = {{1, 8, 1, 1, 1}, {1, 16, 2, 1, 4}, {1, 24, 1, 1, 3}, {1, 32, 8, 1, 32}, {3, 32, 6, 1, 24},
        {1, 16, 0, 1, 0}, {1, 20, 2, 0, 5}, {1, 12, 3, 0, 4}, {1, 0, 2, 0, 0}, {1, 64, 1, 0, 8},
        {3, 16, 2, 0, 4}, {3, 64, 2, 0, 16}, {2, 4, 1, 0, 0}, {6, 8, 1, 0, 1}, {7, 8, 2, 0, 2},
        {80, 0, 2, 0, 0}, {0xFFFE, 16, 2, 0, 4}, {0, 16, 2, 0, 4}};
    CFmtConverter converter;
    CHECK_FALSE(converter.IsFitted());
    for (const auto& row : kCases) {
        CAPTURE(row.tag);
        CAPTURE(row.bits);
        REQUIRE(converter.Init(1, 16, 2) == 1); // a refusal must not leave the routines of an earlier stream
        CHECK(converter.Init(row.tag, row.bits, row.channels) == row.accepted);
        CHECK(converter.IsFitted() == (row.accepted == 1));
        CHECK(converter.channels == row.channels);
        CHECK(converter.frameBytes == row.frameBytes);
    }
}

TEST_CASE("samples worked out by hand") {
    constexpr uint32_t kNan = 0x7FC0'0000, kSignalling = 0xFF80'0001, kInfinity = 0x7F80'0000;
    const struct {
        uint32_t format, floatBits, sample;
        bool bothWays; // else from float only
    } kCases[] = {{0, Bits(-1.0f), 0x00, true}, {0, Bits(0.0f), 0x80, true},
        {0, Bits(0.9921875f), 0xFF, true}, {0, Bits(0.5f), 0xC0, true}, {0, Bits(1.0f), 0x00, false},
        {0, Bits(1.5f / 128), 0x82, false}, {0, Bits(2.5f / 128), 0x82, false}, {0, Bits(3.0f), 0x00, false},
        {0, kNan, 0x80, false}, {1, Bits(-1.0f), 0x8000, true}, {1, Bits(1000.0f / 32768), 1000, true},
        {1, Bits(0.999969482f), 0x7FFF, true}, {1, Bits(1.0f), 0x8000, false},
        {1, Bits(32767.5f / 32768), 0x8000, false}, {1, Bits(-1.5f), 0x8000, false}, {1, kNan, 0x8000, false},
        {1, Bits(3e38f), 0x8000, false}, {2, Bits(-1.0f), 0x80'0000, true},
        {2, Bits(0.99999988f), 0x7F'FFFF, true}, {2, Bits(1.0f), 0x80'0000, false},
        {2, Bits(1.5f), 0xC0'0000, false}, {2, Bits(-1.00000012f), 0x7F'FFFF, false},
        {2, Bits(256.0f), 0, false}, {2, kInfinity, 0, false}, {3, Bits(-1.0f), 0x8000'0000, true},
        {3, Bits(0.5f), 0x4000'0000, true}, {3, Bits(0.99999994f), 0x7FFF'FF80, true},
        {3, Bits(1.0f), 0x8000'0000, false}, {3, kNan, 0x8000'0000, false},
        {4, kSignalling, kSignalling, true}, {4, Bits(-0.0f), 0x8000'0000, true}};
    for (const auto& row : kCases) {
        const Format& format = kFormats[row.format];
        CAPTURE(format.name);
        CAPTURE(row.sample);
        const auto converter = MakeFitted(format, 1);
        Byte bytes[4] = {};
        Byte* cursor = bytes;
        std::memcpy(converter->scratch, &row.floatBits, 4);
        converter->fromFloat(&cursor, 1, converter->scratch, 1);
        CHECK(std::memcmp(bytes, &row.sample, 4) == 0);
        if (!row.bothWays)
            continue;
        cursor = bytes;
        converter->ClearScratch();
        converter->toFloat(&cursor, 1, converter->scratch, 1);
        const uint32_t expected[] = {row.floatBits, row.floatBits, 0};
        const auto* const floats = reinterpret_cast<const Byte*>(converter->scratch);
        CHECK(std::memcmp(floats, expected, sizeof(expected)) == 0);
    }
}

TEST_CASE("every sample of 8, 16 and 24 bits becomes its exact float, and millions of 32 bits theirs") {
    std::mt19937 random(1);
    for (const Format& format : kFormats) {
        std::vector<uint32_t> samples(format.bits < 32 ? 1u << format.bits : 2'000'000u);
        if (format.bits < 32)
            std::iota(samples.begin(), samples.end(), 0u);
        else
            std::generate(samples.begin(), samples.end(), std::ref(random));
        for (uint32_t i = 0; format.bits == 32 && i != 1u << 18; ++i) // zero, the extremes, powers of two
            samples.push_back((i >> 12 << 26) + (i & 0xFFF) - 0x800);
        Sweep(format, true, samples);
    }
}

TEST_CASE(
    "floats between the integers round to even, beyond the range they wrap or drop, whatever they are") {
    CFloatSource source;
    for (const Format& format : kFormats) {
        std::vector<uint32_t> floats;
        const int fullScale = format.bits < 32 ? 1 << (format.bits - 1) : 1 << 18;
        const float unit = 1.0f / static_cast<float>(fullScale); // a power of two: the products are exact
        for (int value = -fullScale - 70'000; value != fullScale + 70'000; ++value) {
            const uint32_t tie = Bits((static_cast<float>(value) + 0.5f) * unit);
            floats.insert(floats.end(), {Bits(static_cast<float>(value) * unit), tie - 1, tie, tie + 1});
            if (floats.size() >= 1'000'000) // 24 bits would fill the address space
                Sweep(format, false, std::exchange(floats, {}));
        }
        for (uint32_t signAndExponent = 0; signAndExponent != 512; ++signAndExponent)
            for (const uint32_t fraction : {0u, 1u, 0x3F'FFFFu, 0x40'0000u, 0x40'0001u, 0x7F'FFFFu})
                floats.push_back(signAndExponent << 23 | fraction);
        for (int i = 0; i != 1'500'000; ++i)
            floats.push_back(source.Next());
        Sweep(format, false, floats);
    }
}

TEST_CASE("calls touch their frames only, for all counts, channels and alignments") {
    const auto pages = std::make_unique<Pages>();
    for (const Format& format : kFormats)
        for (uint32_t channels = 1; channels <= 9; ++channels) {
            const auto converter = MakeFitted(format, channels);
            for (uint32_t frames = 0; frames <= 74; ++frames)
                for (std::size_t distance = 0; distance != 4; ++distance)
                    RunBeforeGuard(format, *converter, *pages, frames, distance);
        }
}
