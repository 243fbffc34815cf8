#include "dsp/CFmtConverter.h"
#include "tests/dsp/fmt_reference.h"

#include <windows.h>
#include <doctest/doctest.h>
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <utility>

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

/// Takes values (float bits, or samples), converts them in calls of one scratch and compares each call with
/// the reference. Three channels take the samples one by one where two take them eight at a time.
class CSweep {
public:
    CSweep(const Format& format, uint32_t channels, bool toFloat)
        : m_format(format), m_converter(MakeFitted(format, channels)), m_toFloat(toFloat) {}

    void Add(uint32_t value) {
        const std::size_t sample = m_count / 2 * m_converter->channels + m_count % 2;
        if (m_toFloat)
            std::memcpy(m_host.data() + sample * m_format.Bytes(), &value, m_format.Bytes());
        else
            std::memcpy(m_converter->scratch + m_count, &value, sizeof(value));
        if (++m_count == std::size(m_converter->scratch))
            End();
    }

    void End() {
        auto* const floats = reinterpret_cast<Byte*>(m_converter->scratch);
        const uint32_t channels = m_converter->channels;
        const auto frames = static_cast<uint32_t>(std::exchange(m_count, 0) / 2);
        Byte* cursor = m_host.data();
        if (m_toFloat) {
            fmt_reference::BlockToFloat(m_format, cursor, frames, m_expected.data(), channels);
            m_converter->toFloat(&cursor, frames, m_converter->scratch, channels);
            Compare(floats, std::size_t{frames} * 8);
        } else {
            fmt_reference::BlockFromFloat(m_format, m_expected.data(), frames, floats, channels);
            m_converter->fromFloat(&cursor, frames, m_converter->scratch, channels);
            Compare(m_host.data(), std::size_t{frames} * m_converter->frameBytes);
        }
    }

private:
    void Compare(const Byte* result, std::size_t bytes) {
        const auto differing = std::mismatch(result, result + bytes, m_expected.data()).first;
        REQUIRE_MESSAGE(differing == result + bytes, "first at byte ", differing - result, " of ", bytes);
    }

    Format m_format;
    std::unique_ptr<CFmtConverter> m_converter;
    bool m_toFloat;
    std::array<Byte, CFmtConverter::kScratchFrames * 3 * 4> m_host{};
    std::array<Byte, CFmtConverter::kScratchFrames * 3 * 4> m_expected{};
    std::size_t m_count = 0;
};

template <typename Feed>
void Sweep(const Format& format, bool toFloat, Feed feed) {
    for (const uint32_t channels : {2u, 3u}) {
        CAPTURE(format.name);
        CAPTURE(channels);
        CSweep sweep(format, channels, toFloat);
        feed([&sweep](uint32_t value) { sweep.Add(value); });
        sweep.End();
    }
}

/// A page of memory between two that may not be touched.
class CGuardedPage {
public:
    static constexpr std::size_t kBytes = 4096;

    CGuardedPage() {
        Byte* const pages =
            static_cast<Byte*>(::VirtualAlloc(nullptr, 3 * kBytes, MEM_RESERVE, PAGE_NOACCESS));
        m_page = static_cast<Byte*>(::VirtualAlloc(pages + kBytes, kBytes, MEM_COMMIT, PAGE_READWRITE));
        REQUIRE(m_page != nullptr);
    }
    ~CGuardedPage() { ::VirtualFree(m_page - kBytes, 0, MEM_RELEASE); }
    CGuardedPage(const CGuardedPage&) = delete;
    CGuardedPage& operator=(const CGuardedPage&) = delete;

    Byte* Get() const { return m_page; }

private:
    Byte* m_page = nullptr;
};

/// Where a run's buffers lie in their pages: this far behind the lower guard page, or before the upper one.
struct Place {
    std::size_t distance;
    bool atEnd;

    std::size_t Offset(std::size_t bytes, std::size_t unit) const {
        return atEnd ? CGuardedPage::kBytes - bytes - distance * unit : distance * unit;
    }
};

/// Two pages for the converter and two equal ones for the reference. All bytes of them are compared, so that
/// a write beside the frames shows, and a read beyond a page faults.
struct Pages {
    CGuardedPage host, stereo;
    std::array<Byte, CGuardedPage::kBytes> expectedHost, expectedStereo;
    CFloatSource source;

    void Fill() {
        for (std::size_t i = 0; i != CGuardedPage::kBytes; i += 4) {
            const uint32_t bits[] = {source.Next(), source.Next()};
            std::memcpy(expectedHost.data() + i, bits, 4);
            std::memcpy(expectedStereo.data() + i, bits + 1, 4);
        }
        std::memcpy(host.Get(), expectedHost.data(), CGuardedPage::kBytes);
        std::memcpy(stereo.Get(), expectedStereo.data(), CGuardedPage::kBytes);
    }
    bool AreAsExpected() const {
        return std::memcmp(host.Get(), expectedHost.data(), CGuardedPage::kBytes) == 0 &&
               std::memcmp(stereo.Get(), expectedStereo.data(), CGuardedPage::kBytes) == 0;
    }
};

void RunBetweenGuards(
    const Format& format, const CFmtConverter& fitted, Pages& pages, uint32_t frames, Place place) {
    const std::size_t bytes = std::size_t{frames} * fitted.frameBytes;
    const std::size_t hostAt = place.Offset(bytes, 1);
    const std::size_t stereoAt = place.Offset(std::size_t{frames} * 8, sizeof(float));
    auto* const stereo = reinterpret_cast<float*>(pages.stereo.Get() + stereoAt);
    CAPTURE(format.name);
    CAPTURE(fitted.channels);
    CAPTURE(frames);
    CAPTURE(hostAt);
    const auto run = [&](FmtRoutine routine) {
        Byte* cursor = pages.host.Get() + hostAt;
        routine(&cursor, frames, stereo, fitted.channels);
        CHECK(cursor == pages.host.Get() + hostAt + bytes);
        CHECK(pages.AreAsExpected());
    };

    pages.Fill(); // arbitrary floats to samples
    fmt_reference::BlockFromFloat(format, pages.expectedHost.data() + hostAt, frames,
        pages.expectedStereo.data() + stereoAt, fitted.channels);
    run(fitted.fromFloat);

    pages.Fill(); // arbitrary samples to floats, and back to where they were
    const auto original = pages.expectedHost;
    fmt_reference::BlockToFloat(format, pages.expectedHost.data() + hostAt, frames,
        pages.expectedStereo.data() + stereoAt, fitted.channels);
    run(fitted.toFloat);
    fmt_reference::BlockFromFloat(format, pages.expectedHost.data() + hostAt, frames,
        pages.expectedStereo.data() + stereoAt, fitted.channels);
    run(fitted.fromFloat);
    const bool isPrecise = format.tag == 3 || format.bits < 32;
    if (isPrecise && !(format.bits == 24 && fitted.channels > 2))
        CHECK(original == pages.expectedHost);
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

TEST_CASE("the scratch is aligned in an object from new and ClearScratch silences all of it") {
    const auto converter = MakeFitted(kFormats[1], 2);
    CHECK(reinterpret_cast<std::uintptr_t>(converter->scratch) % 64 == 0);
    std::memset(converter->scratch, 0xFF, sizeof(converter->scratch));
    converter->ClearScratch();
    const auto* const bytes = reinterpret_cast<const Byte*>(converter->scratch);
    CHECK(std::all_of(bytes, bytes + 4096, [](Byte byte) { return byte == 0; }));
    CHECK(converter->channels == 2);
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

TEST_CASE("the second of three 24-bit channels reaches into the third, but not in the last frame") {
    const auto converter = MakeFitted(kFormats[2], 3);
    Byte host[] = {
        1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19, 21, 22, 23, 24, 25, 26, 27, 28, 29};
    const float stereo[] = {0.5f, -1.0f / 8388608, -1.0f, 2.0f / 8388608, 0.0f, -1.0f / 8388608};
    const Byte expected[] = {0, 0, 0x40, 0xFF, 0xFF, 0xFF, 0xFF, 8, 9, 0, 0, 0x80, 2, 0, 0, 0, 18, 19, 0, 0,
        0, 0xFF, 0xFF, 0xFF, 27, 28, 29};
    std::copy(std::begin(stereo), std::end(stereo), converter->scratch);
    Byte* cursor = host;
    converter->fromFloat(&cursor, 3, converter->scratch, 3);
    CHECK(cursor == std::end(host));
    CHECK(std::equal(std::begin(host), std::end(host), std::begin(expected)));
}

TEST_CASE("every sample of 8, 16 and 24 bits becomes its exact float, and millions of 32 bits theirs") {
    std::mt19937 random(1);
    for (const Format& format : kFormats) {
        Sweep(format, true, [&](auto add) {
            for (uint32_t sample = 0; format.bits < 32 && sample >> format.bits == 0; ++sample)
                add(sample);
            for (int i = 0; format.bits == 32 && i != 2'000'000; ++i)
                add(random());
            for (uint32_t i = 0; format.bits == 32 && i != 1u << 18;
                 ++i) // near zero, the extremes and powers of two
                add((i >> 12 << 26) + (i & 0xFFF) - 0x800);
        });
    }
}

TEST_CASE("floats on, between and beside the integers round to even, and wrap or drop beyond the range") {
    for (const Format& format : {kFormats[0], kFormats[1], kFormats[2]}) {
        Sweep(format, false, [&](auto add) {
            const int fullScale = 1 << (format.bits - 1);
            const int end = fullScale + 70'000;
            const float unit = 1.0f / static_cast<float>(fullScale); // a power of two: the products are exact
            for (int value = -end; value != end; ++value) {
                const uint32_t tie = Bits((static_cast<float>(value) + 0.5f) * unit);
                for (const uint32_t bits : {Bits(static_cast<float>(value) * unit), tie - 1, tie, tie + 1})
                    add(bits);
            }
        });
    }
}

TEST_CASE("float patterns of every exponent and millions of arbitrary ones convert as the reference does") {
    CFloatSource source;
    for (const Format& format : kFormats) {
        Sweep(format, false, [&](auto add) {
            for (uint32_t signAndExponent = 0; signAndExponent != 512; ++signAndExponent)
                for (const uint32_t fraction :
                    {0u, 1u, 0x3F'FFFFu, 0x40'0000u, 0x40'0001u, 0x7F'FFFEu, 0x7F'FFFFu})
                    add(signAndExponent << 23 | fraction);
            for (int i = 0; i != 1'500'000; ++i)
                add(source.Next());
        });
    }
}

TEST_CASE("calls touch their frames only and come back in place, for all counts, channels and alignments") {
    const auto pages = std::make_unique<Pages>();
    for (const Format& format : kFormats) {
        for (uint32_t channels = 1; channels <= 8; ++channels) {
            const auto converter = MakeFitted(format, channels);
            for (uint32_t frames = 0; frames <= 70; ++frames)
                for (std::size_t distance = 0; distance != 4; ++distance)
                    for (const bool atEnd : {false, true})
                        RunBetweenGuards(format, *converter, *pages, frames, {distance, atEnd});
        }
    }
}
