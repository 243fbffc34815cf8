#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"
#include "tests/exports/CImportCounter.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Shorts(const std::vector<std::int16_t>& samples) {
    Bytes bytes(samples.size() * 2);
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

Bytes Shorts(std::size_t count, std::int16_t value) {
    return Shorts(std::vector<std::int16_t>(count, value));
}

const WAVEFORMATEX kStereo16 = CHost::Format(WAVE_FORMAT_PCM, 16, 2);

struct Conversion {
    DWORD Begin() { return host.Begin(kStereo16, CLSID_TestEffect); }
    DWORD Pass(DSPAudioBlock& block) { return module.PassAudioBlock(host.instance, &block); }
    DWORD Pass(Bytes& data, bool last) {
        DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), last);
        return Pass(block);
    }
    // The next conversion, with an effect that behaves, gives what it is given.
    bool NextWorks() {
        effects.Reset();
        return Begin() == 1 && host.Run(kStereo16, Shorts({7, 8}), 1) == Shorts({7, 8});
    }

    CModule module;
    CTestEffects effects;
    CHost host{module};
};

} // namespace

TEST_CASE_FIXTURE(Conversion, "without an effect every block comes back as it was, the last one too") {
    for (const wchar_t* settings : {L"", L"no separator", L"x=Xab"}) {
        CHost other(module);
        REQUIRE(other.Begin(CHost::Format(WAVE_FORMAT_MULAW, 8, 1), settings) == 1); // any format passes
        Bytes data = Shorts(1400, 12345);
        DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), true);
        CHECK(module.PassAudioBlock(other.instance, &block) == 1);
        CHECK((block.pData == data.data() && UINT64{block.nDurationMs} == 4711));
        CHECK(data == Shorts(1400, 12345));
    }
}

TEST_CASE_FIXTURE(Conversion, "a block is taken in pieces of 512 frames and a partial frame stays as it is") {
    effects.Plan().gain = 0.5f;
    REQUIRE(Begin() == 1);
    Bytes data = Shorts(2600, 1000);
    data.resize(1300 * 4 + 3, 0x77);
    Bytes expected = Shorts(2600, 500);
    expected.resize(data.size(), 0x77);
    REQUIRE(Pass(data, false) == 1);
    CHECK(data == expected);
    CHECK(effects.Record().blocks == 3);
    for (const std::uint32_t n : {0u, 1u, 2u})
        CHECK(effects.Record().lastBlocks[n].frames == (n == 2 ? 276 : 512));
}

TEST_CASE_FIXTURE(Conversion,
    "a tail is described by the block, in memory of the instance's, and an empty last block gets it too") {
    effects.Plan().delay = 441;
    REQUIRE(Begin() == 1);
    Bytes data = Shorts(882, 3000);
    REQUIRE(Pass(data, false) == 1);
    DSPAudioBlock last = CHost::Block(kStereo16, nullptr, 0, true);
    REQUIRE(Pass(last) == 1);
    CHECK(last.nBytes == 512 * 4);
    CHECK(UINT64{last.nDurationMs} == 512 * 4 * 1000 / 176400);
    REQUIRE(last.pData != nullptr);
    std::int16_t sample = 0;
    std::memcpy(&sample, last.pData + 440 * 4, 2);
    CHECK(sample == 3000);
    // The host may pass the very memory back.
    last.bLastBlock = 1;
    effects.Plan().offset = 0.25f;
    REQUIRE(Pass(last) == 1);
    CHECK(last.nBytes == 512 * 4 + 861 * 512 * 4);
}

TEST_CASE_FIXTURE(Conversion, "an effect that never falls silent rings for the whole pieces of ten seconds") {
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 1);
    for (const float offset : {0.25f, 0.0005f, -0.0005f, 0.0004f}) {
        CAPTURE(offset);
        effects.Plan().offset = offset;
        REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
        CHECK(host.Run(format, Bytes(4), 1).size() == 4 + (offset == 0.0004f ? 0 : 861 * 512 * 4));
    }
}

TEST_CASE_FIXTURE(Conversion,
    "the effect is connected at the stream's rate with the state of the settings, for each conversion anew") {
    const std::wstring settings = CHost::SettingsFor(L"n", CLSID_TestEffect, {0, 0, 0, 0x3F});
    for (int i = 1; i <= 3; ++i) {
        effects.Plan().gain = 1;
        REQUIRE(host.Begin(CHost::Format(WAVE_FORMAT_PCM, 16, 2, 8000), settings) == 1);
        CHECK(effects.Plan().gain == 0.5f);
        CHECK(effects.Calls(Place::CreateEffect) == i);
        CHECK(effects.Record().liveObjects == 2);
        Bytes data(80 * 4);
        for (int n = 0; n < 2; ++n)
            REQUIRE(Pass(data, false) == 1);
        CHECK(effects.Record().lastBlocks[(effects.Record().blocks - 1) % 64].start == 100'000); // 10 ms
    }
    // No decodable text: the effect of before goes on, and a stream at another rate hears the same effect.
    for (const std::wstring& undecodable : {std::wstring(), settings.substr(0, 47)}) {
        REQUIRE(host.Begin(kStereo16, undecodable) == 1);
        CHECK(effects.Calls(Place::CreateEffect) == 3);
        CHECK(host.Run(kStereo16, Shorts({2000, 2000}), 1) == Shorts({1000, 1000}));
    }
}

TEST_CASE_FIXTURE(Conversion, "what can't be converted is refused with its line, and the effect is gone") {
    WAVEFORMATEXTENSIBLE extensible{};
    extensible.Format = CHost::Format(WAVE_FORMAT_EXTENSIBLE, 16, 2);
    extensible.Format.cbSize = 22;
    extensible.SubFormat = {1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}}; // PCM
    WAVEFORMATEXTENSIBLE unknownSub = extensible;
    unknownSub.SubFormat = CLSID_TestEffect;
    WAVEFORMATEX floating = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 6);
    floating.nBlockAlign = 1; // worked out anew
    struct Row {
        std::string name;
        WAVEFORMATEXTENSIBLE format;
        bool taken;
    };
    const Row rows[] = {{"extensible PCM", extensible, true}, {"unknown sub-format", unknownSub, false},
        {"six channels of float", {floating, {}, 0, {}}, true},
        {"20 bits", {CHost::Format(WAVE_FORMAT_PCM, 20, 2), {}, 0, {}}, false},
        {"no channels", {CHost::Format(WAVE_FORMAT_PCM, 16, 0), {}, 0, {}}, false},
        {"mu-law", {CHost::Format(WAVE_FORMAT_MULAW, 8, 1), {}, 0, {}}, false}};
    for (const Row& row : rows) {
        CAPTURE(row.name);
        CHECK(host.Begin(row.format.Format, CLSID_TestEffect) == (row.taken ? 1u : 0u));
        CHECK(effects.Record().liveObjects == (row.taken ? 2 : 0));
        CHECK(host.errors.Take() ==
              (row.taken ? L"" : L"Error: Unsupported audio format  [clDSP::BeginConversion]\r\n"));
    }
    CHECK(
        host.trace.Take().find(L"*** Error: Error: Unsupported audio format  [clDSP::BeginConversion]\r\n") !=
        std::wstring::npos);
}

TEST_CASE_FIXTURE(
    Conversion, "an effect that fails in a block costs that block from there on, and one line") {
    const std::pair<Frames, Place> rows[] = {
        {Frames::Fewer, Place::None}, {Frames::None, Place::None}, {Frames::Same, Place::Receive}};
    for (const auto& [frames, place] : rows) {
        CAPTURE(static_cast<int>(frames));
        effects.Reset();
        effects.Plan().gain = 0.5f;
        effects.Plan().frames = frames;
        effects.Plan().oddBlock = 1;
        effects.Plan().place = place;
        effects.Plan().fault = Fault::Fail;
        effects.Plan().nth = 2;
        REQUIRE(Begin() == 1);
        Bytes data = Shorts(2048, 1000);
        CHECK(Pass(data, true) == 0);
        CHECK(host.errors.Take() == L"Error: CDXClient::FillBuffer  [clDSP::PassAudioBlock]\r\n");
        CHECK(data[511 * 4] == 0xF4); // 500: done before the failure
        CHECK(data[512 * 4] == 0xE8); // 1000: not reached
        CHECK(NextWorks());
    }
}

TEST_CASE_FIXTURE(
    Conversion, "absurd calls and records do nothing worse than fail, and the next conversion works") {
    const std::wstring settings = CHost::SettingsFor(L"n", CLSID_TestEffect);
    Bytes data = Shorts(1024, 1000);
    CHECK(module.PassAudioBlock(host.instance, nullptr) == 0);
    CHECK(Pass(data, true) == 1); // before any conversion
    module.ShowConfigBit(host.instance, nullptr, 0, 0, settings.c_str());
    effects.Plan().gain = 0.5f;
    CHECK(Pass(data, true) == 1); // an effect, but no format yet
    CHECK(data == Shorts(1024, 1000));
    CHECK(module.BeginConversion(host.instance, nullptr, L"") == 0);
    const DSPConversionInfo noFormat{};
    CHECK(module.BeginConversion(host.instance, &noFormat, nullptr) == 1); // the effect went with the failure
    CHECK(module.BeginConversion(host.instance, &noFormat, settings.c_str()) == 0);

    REQUIRE(Begin() == 1);
    struct Row {
        std::string name;
        void (*spoil)(DSPAudioBlock&);
        DWORD result;
    };
    const Row rows[] = {
        {"negative length", [](DSPAudioBlock& bad) { bad.nBytes = -400; }, 1},
        {"lowest length", [](DSPAudioBlock& bad) { bad.nBytes = std::numeric_limits<INT32>::min(); }, 1},
        {"no data", [](DSPAudioBlock& bad) { bad.pData = nullptr; }, 0},
        {"data that is not there", [](DSPAudioBlock& bad) { bad.pData = reinterpret_cast<BYTE*>(0x40); }, 0},
        {"no format", [](DSPAudioBlock& bad) { bad.wfx = {}; }, 1},
        {"zero channels", [](DSPAudioBlock& bad) { bad.wfx.ex.nChannels = 0; }, 1},
        {"zero rate", [](DSPAudioBlock& bad) { bad.wfx.ex.nSamplesPerSec = 0; }, 1},
        {"cbSize past the block",
            [](DSPAudioBlock& bad) {
                bad.wfx.ex.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
                bad.wfx.ex.cbSize = 0xFFFF;
            },
            1},
    };
    for (const Row& row : rows) {
        CAPTURE(row.name);
        DSPAudioBlock bad = CHost::Block(kStereo16, data.data(), data.size(), true);
        row.spoil(bad);
        CHECK(Pass(bad) == row.result);
    }
    CHECK(NextWorks());
}

TEST_CASE_FIXTURE(Conversion,
    "a host that is let in from within the effect is turned away, and the call that runs goes on") {
    for (const Place place : {Place::CreatePage, Place::Run, Place::Load, Place::Receive, Place::Save}) {
        CAPTURE(static_cast<int>(place));
        effects.Reset();
        effects.Plan().place = place;
        effects.Plan().fault = Fault::CallBack;
        std::pair<Conversion*, DWORD> intruder{this, 0}; // with the sum of its results
        effects.Plan().callbackArgument = &intruder;
        effects.Plan().callback = [](void* argument) {
            auto& [self, results] = *static_cast<std::pair<Conversion*, DWORD>*>(argument);
            Bytes data(40);
            results += self->Begin() + self->Pass(data, false);
            self->module.ShowConfigBit(self->host.instance, nullptr, 0, 0, L"x=X00");
            self->module.RemoveConfigBit(self->host.instance, 0);
            self->module.Destroy(self->host.instance);
        };
        REQUIRE(host.Begin(kStereo16, CHost::SettingsFor(L"n", CLSID_TestEffect, {0, 0, 0x80, 0x3F})) == 1);
        CHECK(host.Run(kStereo16, Shorts({7, 8}), 1) == Shorts({7, 8}));
        CHECK(std::wstring(module.RemoveConfigBit(host.instance, 0)).size() > 50);
        CHECK(effects.Calls(place) >= 1);
        CHECK(intruder.second == 0);
        CHECK(effects.Record().liveObjects == 2);
    }
}

TEST_CASE_FIXTURE(Conversion, "a normal block allocates nothing, asks the effect only to receive, and enters "
                              "the system for its lock alone") {
    constexpr std::uint32_t kBlocks = 10;
    const struct {
        WORD tag, bits, channels;
        bool inPlace;
    } streams[] = {{WAVE_FORMAT_PCM, 8, 1, false}, {WAVE_FORMAT_PCM, 16, 2, true},
        {WAVE_FORMAT_PCM, 24, 6, false}, {WAVE_FORMAT_PCM, 32, 2, true},
        {WAVE_FORMAT_IEEE_FLOAT, 32, 2, false}};
    for (const auto& stream : streams) {
        CAPTURE(stream.bits);
        const WAVEFORMATEX format = CHost::Format(stream.tag, stream.bits, stream.channels);
        effects.Reset();
        effects.Plan().inPlace = stream.inPlace;
        REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
        Bytes data(std::size_t{1300} * format.nBlockAlign, 0x11);
        DSPAudioBlock block = CHost::Block(format, data.data(), data.size(), false);
        REQUIRE(Pass(block) == 1);
        const auto asked = effects.Record().calls;
        CImportCounter counter(::GetModuleHandleW(L"dxwrapper.dll"));
        for (std::uint32_t n = 0; n != kBlocks; ++n)
            Pass(block);
        auto calls = counter.Take();
        CHECK(calls["WaitForSingleObject"] == kBlocks);
        CHECK(calls["ReleaseMutex"] == kBlocks);
        CHECK(calls["EnterCriticalSection"] == calls["LeaveCriticalSection"]);
        for (const char* const harmless : {"WaitForSingleObject", "ReleaseMutex", "EnterCriticalSection",
                 "LeaveCriticalSection", "GetCurrentThreadId", "memcpy", "memmove", "memset"})
            calls.erase(harmless);
        for (const auto& [name, count] : calls)
            FAIL_CHECK(name, " was called ", count, " times");
        for (std::size_t place = 0; place != asked.size(); ++place) {
            CAPTURE(place);
            const bool receives = place == static_cast<std::size_t>(Place::Receive) ||
                                  place == static_cast<std::size_t>(Place::ReceiveAfterDelivery);
            CHECK(effects.Record().calls[place] - asked[place] == (receives ? 3 * int{kBlocks} : 0));
        }
    }
}
