// Whole conversions as a host runs them, against a model of each effect and of the sample formats that shares
// no code with them: every format and rate in every size of block, and every state that a settings text may
// carry.

#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"
#include "tests/dsp/fmt_reference.h"
#include "tests/effects/CTestEffects.h"
#include "tests/effects/echo_model.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Model = std::function<void(float* samples, std::size_t count)>;

constexpr std::size_t kPieceFrames = 512;

struct Values {
    int delayMs, feedback, mix;
};

struct EchoRig {
    EchoRig() { RegisterEcho(); }
    CModule module;
    CTestEffects effects;
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

Model Echo(const WAVEFORMATEX& format, const Values& values) {
    CEchoModel echo(format.nSamplesPerSec, 2);
    echo.Set(values.delayMs, values.feedback, values.mix);
    return [echo](float* samples, std::size_t count) mutable { echo.Process(samples, count); };
}

Model Gain(float gain) {
    return [gain](float* samples, std::size_t count) {
        std::transform(
            samples, samples + count, samples, [gain](float sample) { return sample * gain + 0.0f; });
    };
}

void FromStereo(const WAVEFORMATEX& format, std::uint8_t* host, std::size_t frames, const float* stereo) {
    fmt_reference::BlockFromFloat(
        Plain(format), host, frames, reinterpret_cast<const std::uint8_t*>(stereo), format.nChannels);
}

// The recording as a conversion with the model has to return it, with its tail. How the blocks are cut shows
// only in 24 bit with more than two channels: a sample's write reaches into the next one, the last of a piece
// excepted.
Bytes Converted(const WAVEFORMATEX& format, Bytes data, std::uint32_t blockFrames, Model model) {
    const std::size_t frames = data.size() / format.nBlockAlign;
    std::vector<float> stereo(frames * 2);
    fmt_reference::BlockToFloat(
        Plain(format), data.data(), frames, reinterpret_cast<std::uint8_t*>(stereo.data()), format.nChannels);
    model(stereo.data(), stereo.size());
    for (std::size_t at = 0, block = 0; at < frames; ++block) {
        const std::size_t end = std::min(at + CHost::BlockFrames(blockFrames, block), frames);
        for (std::size_t piece = 0; at < end; at += piece) {
            piece = std::min(end - at, kPieceFrames);
            FromStereo(format, &data[at * format.nBlockAlign], piece, &stereo[at * 2]);
        }
    }
    for (std::size_t left = format.nSamplesPerSec * 10 / kPieceFrames; left > 0; --left) {
        std::vector<float> piece(kPieceFrames * 2);
        model(piece.data(), piece.size());
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

// What the effect makes of a state: its values, or those that it starts with when it refuses it.
Values Loaded(const Bytes& state) {
    std::int32_t words[5] = {};
    std::copy_n(state.data(), std::min(state.size(), sizeof words), reinterpret_cast<std::uint8_t*>(words));
    bool taken = state.size() >= sizeof words && words[0] == 0x6F686345 && words[1] == 1;
    for (std::size_t n = 0; n < kEchoParameters; ++n)
        taken = taken && kEchoRanges[n].Holds(words[2 + n]);
    return taken ? Values{words[2], words[3], words[4]} : Values{250, 40, 35};
}

// The state, cut at every byte, each bit flipped, with more behind it, and another effect's.
std::vector<Bytes> Spoilt(const Bytes& state, const Bytes& others) {
    std::vector<Bytes> states{others, state};
    states.back().resize(state.size() + 100, 0xEE);
    for (std::size_t bytes = 0; bytes < state.size(); ++bytes)
        states.emplace_back(state.begin(), state.begin() + static_cast<std::ptrdiff_t>(bytes));
    for (std::size_t bit = 0; bit < state.size() * 8; ++bit) {
        states.push_back(state);
        states.back()[bit / 8] ^= static_cast<std::uint8_t>(1u << bit % 8);
    }
    return states;
}

} // namespace

TEST_CASE_FIXTURE(
    EchoRig, "a recording through Echo is the model's, bit for bit, in every format at any block size") {
    const std::pair<WORD, WORD> kinds[] = {{WAVE_FORMAT_PCM, 8}, {WAVE_FORMAT_PCM, 16}, {WAVE_FORMAT_PCM, 24},
        {WAVE_FORMAT_PCM, 32}, {WAVE_FORMAT_IEEE_FLOAT, 32}};
    constexpr DWORD kRates[] = {8000, 44100, 96000, 192000};
    constexpr WORD kChannels[] = {1, 2, 3, 8};
    const std::vector<std::uint32_t> kSizes{0, 1, 7, 64, 511, 512, 513, 65536};
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

TEST_CASE_FIXTURE(
    EchoRig, "a spoilt state is taken or leaves the effect as it starts, and converts either way") {
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 2, 8000);
    const Bytes recording = Recording(format, 700);
    const Bytes gain{0, 0, 0x80, 0x3F}; // 1, which is also what the test effect starts with
    CHost host(module);
    const auto check = [&](const GUID& clsid, const Bytes& state, const Bytes& held, const Model& model) {
        effects.Reset();
        CAPTURE(CHost::SettingsFor(L"", clsid, state));
        REQUIRE(host.Begin(format, CHost::SettingsFor(L"n", clsid, state)) == 1);
        const std::wstring kept = module.RemoveConfigBit(host.instance, 0);
        CHECK(kept == CHost::SettingsFor(L"n", clsid, held));
        CHECK(host.Run(format, recording, 300) == Converted(format, recording, 300, model));
    };
    for (const Bytes& state : Spoilt(EchoState({100, 50, 60}), gain))
        check(kEchoFilterClsid, state, EchoState(Loaded(state)), Echo(format, Loaded(state)));
    for (const Bytes& state : Spoilt(gain, EchoState({100, 50, 60}))) {
        const Bytes held = state.size() < 4 ? gain : Bytes(state.begin(), state.begin() + 4);
        float factor = 0;
        std::memcpy(&factor, held.data(), 4);
        check(CLSID_TestEffect, state, held, Gain(factor));
    }
    CHECK(host.errors.Take().empty());
    // The text itself is cut, or lies about the state's length: nothing is connected.
    const std::wstring whole = CHost::SettingsFor(L"n", CLSID_TestEffect, gain);
    std::vector<std::wstring> texts;
    for (std::size_t units = 5; units < whole.size(); units += 2)
        texts.push_back(whole.substr(0, units));
    for (const wchar_t* length : {L"05000000", L"FFFFFFFF", L"FFFFFF7F", L"00000080"})
        texts.push_back(std::wstring(whole).replace(3 + 32, 8, length));
    effects.Reset();
    for (const std::wstring& text : texts) {
        CHost fresh(module);
        CHECK(fresh.Begin(format, text) == 0);
        CHECK(fresh.errors.Take() == L"Error: Connect to DirectX PlugIn  [clDSP::BeginConversion]\r\n");
    }
    CHECK(effects.Calls(Place::CreateEffect) == 0);
}
