#include "support/CAudioFormat.h"

#include <doctest/doctest.h>
#include <initializer_list>

namespace {

WAVEFORMATEXTENSIBLE Format(unsigned tag, unsigned bits, unsigned channels, unsigned rate) {
    WAVEFORMATEXTENSIBLE format{};
    format.Format = {static_cast<WORD>(tag), static_cast<WORD>(channels), rate, 77, 7,
        static_cast<WORD>(bits), static_cast<WORD>(tag == 0xFFFE ? 22 : 0)};
    format.SubFormat = {1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
    return format;
}

CAudioFormat Assigned(const WAVEFORMATEXTENSIBLE& format, std::size_t readable = sizeof format) {
    CAudioFormat value;
    REQUIRE(value.Assign(&format.Format, readable));
    return value;
}

} // namespace

TEST_CASE("an extensible format has the tag of its sub-format when that is known and all there") {
    constexpr unsigned kRows[][5] = {// tag, sub-format, cbSize, bytes that may be read, effective tag
        {1, 3, 22, 40, 1}, {0xFFFE, 1, 22, 40, 1}, {0xFFFE, 2, 22, 40, 2}, {0xFFFE, 3, 22, 40, 3},
        {0xFFFE, 6, 22, 40, 6}, {0xFFFE, 7, 22, 40, 7}, {0xFFFE, 80, 22, 40, 80},
        {0xFFFE, 85, 22, 40, 0xFFFE}, {0xFFFE, 3, 21, 40, 0xFFFE}, {0xFFFE, 3, 0xFFFF, 4000, 3},
        {0xFFFE, 3, 0xFFFF, 39, 0xFFFE}, {0xFFFE, 3, 22, 18, 0xFFFE}};
    for (const auto& [tag, sub, cbSize, readable, expected] : kRows) {
        CAPTURE(sub);
        CAPTURE(cbSize);
        WAVEFORMATEXTENSIBLE format = Format(tag, 16, 2, 44100);
        format.Format.cbSize = static_cast<WORD>(cbSize);
        format.SubFormat.Data1 = sub;
        CHECK(Assigned(format, readable).EffectiveTag() == expected);
    }
    WAVEFORMATEXTENSIBLE other = Format(0xFFFE, 16, 2, 44100);
    other.SubFormat.Data4[7] ^= 1;
    CHECK(Assigned(other).EffectiveTag() == 0xFFFE);
}

TEST_CASE("frame size and byte rate of PCM and float are worked out, others' believed, never below 1") {
    constexpr unsigned kRows[][6] = {// tag, bits, channels, rate, frame size, byte rate
        {1, 16, 2, 44100, 4, 176400}, {1, 24, 3, 48000, 9, 432000}, {3, 32, 1, 8000, 4, 32000},
        {0xFFFE, 24, 2, 44100, 6, 264600}, {1, 4, 1, 8000, 1, 1}, {1, 8, 1, 0, 1, 1},
        {2, 4, 2, 44100, 7, 77}};
    for (const auto& [tag, bits, channels, rate, align, avg] : kRows) {
        CAPTURE(bits);
        const CAudioFormat value = Assigned(Format(tag, bits, channels, rate));
        CHECK((value.BlockAlign() == align && value.AvgBytesPerSec() == avg));
    }
    WAVEFORMATEXTENSIBLE zeros{};
    zeros.Format.wFormatTag = 2;
    CHECK((Assigned(zeros).BlockAlign() == 1 && Assigned(zeros).AvgBytesPerSec() == 1));
    CHECK(Assigned(Format(1, 24, 2, 44100)).BytesFor(3) == 792); // of 793.8: whole frames
    const CAudioFormat cd = Assigned(Format(1, 16, 2, 44100));
    CHECK((cd.BytesFor(0xFFFFFFFF) == 757'632'230'836 && cd.DurationMs(0xFFFFFFFF) == 24'347'887));
}

TEST_CASE("a format that can't be read is refused and changes nothing") {
    constexpr std::size_t kPageBytes = 4096;
    auto* const page = static_cast<BYTE*>(::VirtualAlloc(nullptr, kPageBytes, MEM_COMMIT, PAGE_READWRITE));
    const WAVEFORMATEXTENSIBLE cut = Format(0xFFFE, 16, 2, 8000);
    auto* const atEdge = reinterpret_cast<WAVEFORMATEX*>(page + kPageBytes - sizeof cut.Format);
    *atEdge = cut.Format;
    CAudioFormat value = Assigned(Format(1, 24, 2, 44100));
    CHECK_FALSE(value.Assign(&cut.Format, sizeof cut.Format - 1));
    CHECK_FALSE(value.Assign(atEdge)); // the head can be read, what cbSize promises can't
    CHECK((value.SamplesPerSec() == 44100 && value.BlockAlign() == 6));
    CHECK((value.Assign(atEdge, sizeof cut.Format) && value.SamplesPerSec() == 8000));
    ::VirtualFree(page, 0, MEM_RELEASE);
}
