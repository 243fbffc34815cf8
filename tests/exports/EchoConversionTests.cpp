// A whole conversion through the sample effect, as a host runs it, against a model of the effect that shares
// no code with it.

#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"
#include "effects/echo/resource.h"
#include "tests/effects/CTestEffects.h"
#include "tests/effects/echo_model.h"
#include "tests/exports/CPanel.h"

#include <doctest/doctest.h>
#include <commctrl.h>
#include <cmath>
#include <cstring>

namespace {

constexpr std::size_t kPieceFloats = 1024;

// Speech-like: bursts of noise that swell and fade. 16 bit.
std::vector<std::int16_t> Recording(std::size_t samples) {
    std::vector<std::int16_t> recording(samples);
    std::uint32_t random = 1;
    for (std::size_t i = 0; i < samples; ++i) {
        random = random * 1664525 + 1013904223;
        const double swell = std::fabs(std::sin(static_cast<double>(i) / 9000));
        recording[i] = static_cast<std::int16_t>(static_cast<std::int16_t>(random >> 16) / 4 * swell);
    }
    return recording;
}

// The sound through the model, in the stereo float of the effect path, with the tail that a conversion
// appends.
std::vector<float> Expected(std::vector<float> stereo, DWORD rate, CEchoModel model) {
    model.Process(stereo.data(), stereo.size());
    for (std::size_t appended = 0; (appended + kPieceFloats) / 2 <= rate * std::size_t{10};
         appended += kPieceFloats) {
        std::vector<float> piece(kPieceFloats);
        model.Process(piece.data(), piece.size());
        bool silent = true;
        for (const float value : piece)
            silent = silent && std::fabs(value) <= 0.0004f;
        if (silent)
            break;
        stereo.insert(stereo.end(), piece.begin(), piece.end());
    }
    return stereo;
}

std::vector<std::uint8_t> Bytes(const std::vector<std::int16_t>& samples) {
    std::vector<std::uint8_t> bytes(samples.size() * 2);
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

// The recording's bytes as a conversion with the model would return them.
std::vector<std::uint8_t> Converted(
    const std::vector<std::int16_t>& recording, WORD channels, DWORD rate, const CEchoModel& model) {
    std::vector<float> stereo;
    for (const std::int16_t sample : recording)
        stereo.insert(stereo.end(), channels == 1 ? 2 : 1, static_cast<float>(sample) / 32768);
    stereo = Expected(std::move(stereo), rate, model);
    std::vector<std::int16_t> samples;
    for (std::size_t i = 0; i < stereo.size(); i += channels == 1 ? 2 : 1)
        samples.push_back(static_cast<std::int16_t>(std::lrint(stereo[i] * 32768)));
    return Bytes(samples);
}

void RegisterEcho() {
    RegisterClassInPrefix(kEchoFilterClsid, ProgramFolder() + L"..\\echo.dll");
    RegisterClassInPrefix(kEchoPageClsid, ProgramFolder() + L"..\\echo.dll");
}

} // namespace

TEST_CASE("a recording through Echo is the model's, bit for bit, with its tail, in mono and stereo at any "
          "block size") {
    RegisterEcho();
    CModule module;
    for (const WORD channels : {WORD{1}, WORD{2}})
        for (const DWORD rate : {8000u, 44100u, 96000u}) {
            CAPTURE(channels);
            CAPTURE(rate);
            const std::vector<std::int16_t> recording = Recording(std::size_t{30000} * channels);
            const std::vector<std::uint8_t> expected =
                Converted(recording, channels, rate, CEchoModel(rate, 2));
            for (const std::uint32_t blockFrames : {1000u, 7u, 65536u}) {
                CAPTURE(blockFrames);
                CHost host(module);
                const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, channels, rate);
                REQUIRE(host.Begin(format, kEchoFilterClsid) == 1);
                const std::vector<std::uint8_t> out = host.Run(format, Bytes(recording), blockFrames);
                CHECK(out.size() > recording.size() * 2);
                CHECK(out == expected);
                CHECK(host.errors.Take().empty());
            }
        }
}

TEST_CASE("a slider moved on Echo's page sounds in the next conversion as the model says") {
    RegisterEcho();
    const CStoredList list{{kEchoFilterClsid, "Echo"}};
    CModule module;
    std::wstring settings;
    {
        CPanel panel(module);
        panel.Show();
        panel.Select(0);
        const HWND page = ::GetWindow(CPanel::Editor(L"Echo"), GW_CHILD);
        const HWND slider = ::GetDlgItem(page, IDC_FIRST_SLIDER + kEchoFeedback);
        REQUIRE(slider != nullptr);
        ::SendMessageW(slider, TBM_SETPOS, TRUE, 70);
        ::SendMessageW(page, WM_HSCROLL, TB_ENDTRACK, reinterpret_cast<LPARAM>(slider));
        settings = panel.Remove();
    }
    CEchoModel moved(44100, 2);
    moved.Set(250, 70, 35);
    const std::vector<std::int16_t> recording = Recording(60000);
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    CHost host(module);
    REQUIRE(host.Begin(format, settings) == 1);
    const std::vector<std::uint8_t> out = host.Run(format, Bytes(recording), 1000);
    CHECK(out == Converted(recording, 2, 44100, moved));
    CHECK(out != Converted(recording, 2, 44100, CEchoModel(44100, 2)));
}
