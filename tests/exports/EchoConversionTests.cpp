// Whole conversions as a host runs them, against a model of the effect and of the sample formats that shares
// no code with them: every format and rate in every size of block.

#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"
#include "tests/dsp/fmt_reference.h"
#include "tests/effects/CTestEffects.h"
#include "tests/effects/echo_model.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kPieceFrames = 512;

struct Values {
    int delayMs, feedback, mix;
};

fmt_reference::Format Plain(const WAVEFORMATEX& format) {
    return {"", format.wFormatTag, format.wBitsPerSample};
}

// Bursts of noise up to full scale that swell and fade.
Bytes Recording(const WAVEFORMATEX& format, std::size_t frames) {
    Bytes recording(frames * format.nBlockAlign);
    const std::size_t bytes = Plain(format).Bytes();
    std::uint32_t random = 1;
    for (std::size_t at = 0; at < recording.size(); at += bytes) {
        random = random * 1664525 + 1013904223;
        const double swell = std::fabs(std::sin(static_cast<double>(at) / 9000));
        const auto level = static_cast<float>(static_cast<std::int32_t>(random) * swell / 2147483648.0);
        const std::uint32_t stored =
            fmt_reference::FromFloat(Plain(format), std::bit_cast<std::uint32_t>(level));
        std::memcpy(&recording[at], &stored, bytes);
    }
    return recording;
}

CEchoModel Echo(const WAVEFORMATEX& format, const Values& values) {
    CEchoModel echo(format.nSamplesPerSec, 2);
    echo.Set(values.delayMs, values.feedback, values.mix);
    return echo;
}

void FromStereo(const WAVEFORMATEX& format, std::uint8_t* host, std::size_t frames, const float* stereo) {
    fmt_reference::BlockFromFloat(
        Plain(format), host, frames, reinterpret_cast<const std::uint8_t*>(stereo), format.nChannels);
}

// The recording as a conversion with the model has to return it, with its tail. How the blocks are cut shows
// only in 24 bit with more than two channels: a sample's write reaches into the next one, the last of a piece
// excepted.
Bytes Converted(const WAVEFORMATEX& format, Bytes data, std::uint32_t blockFrames, CEchoModel model) {
    const std::size_t frames = data.size() / format.nBlockAlign;
    std::vector<float> stereo(frames * 2);
    fmt_reference::BlockToFloat(
        Plain(format), data.data(), frames, reinterpret_cast<std::uint8_t*>(stereo.data()), format.nChannels);
    model.Process(stereo.data(), stereo.size());
    for (std::size_t at = 0, block = 0; at < frames; ++block) {
        const std::size_t end = std::min(at + CHost::BlockFrames(blockFrames, block), frames);
        for (std::size_t piece = 0; at < end; at += piece) {
            piece = std::min(end - at, kPieceFrames);
            FromStereo(format, &data[at * format.nBlockAlign], piece, &stereo[at * 2]);
        }
    }
    for (std::size_t left = format.nSamplesPerSec * 10 / kPieceFrames; left > 0; --left) {
        std::vector<float> piece(kPieceFrames * 2);
        model.Process(piece.data(), piece.size());
        if (std::all_of(piece.begin(), piece.end(), [](float value) { return std::fabs(value) <= 0.0004f; }))
            break;
        Bytes host(kPieceFrames * format.nBlockAlign, format.wBitsPerSample == 8 ? 0x80 : 0);
        FromStereo(format, host.data(), kPieceFrames, piece.data());
        data.insert(data.end(), host.begin(), host.end());
    }
    return data;
}

Bytes EchoState(const Values& values) {
    const std::int32_t words[] = {0x6F686345, 1, values.delayMs, values.feedback, values.mix};
    Bytes state(sizeof words);
    std::memcpy(state.data(), words, sizeof words);
    return state;
}

} // namespace

TEST_CASE("a recording through Echo is the model's, bit for bit, in every format at any block size") {
    const std::pair<WORD, WORD> kinds[] = {{WAVE_FORMAT_PCM, 8}, {WAVE_FORMAT_PCM, 16}, {WAVE_FORMAT_PCM, 24},
        {WAVE_FORMAT_PCM, 32}, {WAVE_FORMAT_IEEE_FLOAT, 32}};
    constexpr DWORD kRates[] = {8000, 44100, 96000, 192000};
    constexpr WORD kChannels[] = {1, 2, 3, 8};
    const std::vector<std::uint32_t> kSizes{0, 1, 7, 64, 511, 512, 513, 65536};
    RegisterEcho();
    CModule module;
    CHost host(module);
    const auto check = [&](const WAVEFORMATEX& format, std::size_t frames, const Values& values,
                           const std::vector<std::uint32_t>& sizes) {
        const Bytes recording = Recording(format, frames);
        const std::wstring settings = CHost::SettingsFor(L"Echo", kEchoFilterClsid, EchoState(values));
        Bytes expected;
        for (const std::uint32_t blockFrames : sizes) {
            CAPTURE(blockFrames);
            if (expected.empty() || (format.wBitsPerSample == 24 && format.nChannels > 2))
                expected = Converted(format, recording, blockFrames, Echo(format, values));
            REQUIRE(host.Begin(format, settings) == 1);
            const bool same = host.Run(format, recording, blockFrames) == expected;
            REQUIRE((same && expected.size() > recording.size()));
        }
    };
    // Every kind at every rate and in every number of channels.
    for (std::size_t i = 0; i < std::size(kinds) * 4; ++i) {
        const auto& [tag, bits] = kinds[i / 4];
        const DWORD rate = kRates[i % 4];
        const WORD channels = kChannels[(i + i / 4) % 4];
        CAPTURE(bits);
        CAPTURE(channels);
        CAPTURE(rate);
        check(CHost::Format(tag, bits, channels, rate), 1030, {3, 50, 60}, kSizes);
    }
    check(CHost::Format(WAVE_FORMAT_PCM, 16, 2), 66'001, {250, 40, 35}, {0, 4096, 65536});
    CHECK(host.errors.Take().empty());
}
