#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using Bytes = std::vector<std::uint8_t>;

// Noise of full scale; 32-bit samples keep to the 24 bits that a float carries.
Bytes Noise(const WAVEFORMATEX& format, std::uint32_t frames) {
    Bytes data(std::size_t{frames} * format.nBlockAlign);
    std::uint32_t random = 12345;
    for (std::uint8_t& byte : data) {
        random = random * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(random >> 24);
    }
    if (format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT)
        for (std::size_t i = 0; i < data.size(); i += 4) {
            const float value = static_cast<float>(static_cast<std::int8_t>(data[i])) / 128;
            std::memcpy(&data[i], &value, 4);
        }
    else if (format.wBitsPerSample == 32)
        for (std::size_t i = 0; i < data.size(); i += 4)
            data[i] = 0;
    return data;
}

Bytes Shorts(const std::vector<std::int16_t>& samples) {
    Bytes bytes(samples.size() * 2);
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

const WAVEFORMATEX kStereo16 = CHost::Format(WAVE_FORMAT_PCM, 16, 2);

} // namespace

TEST_CASE("without an effect every block comes back as it was, the last one too") {
    CModule module;
    for (const wchar_t* settings : {L"", L"no separator", L"x=Xab"}) {
        CHost host(module);
        REQUIRE(host.Begin(CHost::Format(WAVE_FORMAT_MULAW, 8, 1), settings) == 1); // any format passes
        Bytes data = Noise(kStereo16, 700);
        const Bytes before = data;
        DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), true);
        CHECK(module.PassAudioBlock(host.instance, &block) == 1);
        CHECK(block.pData == data.data());
        CHECK(UINT64{block.nDurationMs} == 4711);
        CHECK(data == before);
    }
}

TEST_CASE("through an effect of gain 1 each format comes back bit for bit, whatever the block size") {
    struct Row {
        WORD tag;
        WORD bits;
    };
    const Row rows[] = {{WAVE_FORMAT_PCM, 8}, {WAVE_FORMAT_PCM, 16}, {WAVE_FORMAT_PCM, 24},
        {WAVE_FORMAT_PCM, 32}, {WAVE_FORMAT_IEEE_FLOAT, 32}};
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const Row& row : rows)
        for (const WORD channels : {WORD{1}, WORD{2}, WORD{3}, WORD{8}}) {
            CAPTURE(row.bits);
            CAPTURE(channels);
            const WAVEFORMATEX format = CHost::Format(row.tag, row.bits, channels);
            Bytes data = Noise(format, 1301);
            const bool overwrites = row.bits == 24 && channels > 2;
            for (const std::uint32_t blockFrames : {1u, 511u, 1300u, 4096u}) {
                CAPTURE(blockFrames);
                effects.Reset();
                REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
                Bytes out = host.Run(format, data, blockFrames);
                if (overwrites) // the third channel's lowest byte is not the driver's to keep
                    for (Bytes* bytes : {&data, &out})
                        for (std::size_t at = 6; at < bytes->size(); at += format.nBlockAlign)
                            (*bytes)[at] = 0;
                CHECK(out == data);
            }
        }
    CHECK(host.errors.Take().empty());
}

TEST_CASE("24 bit in three channels: each frame but a piece's last takes its second channel's sign along") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 24, 3);
    Bytes data(std::size_t{514} * 9, 0x55);
    REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
    for (std::size_t frame = 0; frame < 514; frame += 2) // every other one negative
        std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(frame * 9 + 3), 3, std::uint8_t{0xFF});
    const Bytes out = host.Run(format, data, 514);
    for (const std::size_t frame : {0u, 1u, 510u, 511u, 512u, 513u}) {
        CAPTURE(frame);
        const bool lastOfPiece = frame == 511 || frame == 513;
        CHECK(out[frame * 9 + 6] == (lastOfPiece ? 0x55 : frame % 2 == 0 ? 0xFF : 0x00));
        CHECK(out[frame * 9 + 7] == 0x55);
    }
}

TEST_CASE("a block is taken in pieces of 512 frames and a partial frame stays as it is") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    effects.Plan().gain = 0.5f;
    REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
    std::vector<std::int16_t> samples(2600, 1000);
    Bytes data = Shorts(samples);
    data.resize(1300 * 4 + 3, 0x77);
    DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), false);
    REQUIRE(module.PassAudioBlock(host.instance, &block) == 1);
    std::uint32_t frames[3];
    std::transform(effects.Record().lastBlocks.begin(), effects.Record().lastBlocks.begin() + 3, frames,
        [](const TestEffectBlock& piece) { return piece.frames; });
    CHECK(effects.Record().blocks == 3);
    CHECK(frames[0] == 512);
    CHECK(frames[1] == 512);
    CHECK(frames[2] == 276);
    std::memcpy(samples.data(), data.data(), 5200);
    CHECK(std::count(samples.begin(), samples.end(), 500) == 2600);
    CHECK(std::count(data.begin() + 5200, data.end(), 0x77) == 3);
}

TEST_CASE("the last block grows by the effect's tail, up to its first silent piece") {
    struct Row {
        std::uint32_t delay;    // frames that the effect holds the sound back
        std::uint32_t appended; // frames
    };
    const Row rows[] = {{0, 0}, {1, 512}, {512, 512}, {513, 1024}, {1024, 1024}};
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const Row& row : rows) {
        CAPTURE(row.delay);
        effects.Reset();
        effects.Plan().delay = row.delay;
        REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
        const Bytes data = Shorts(std::vector<std::int16_t>(2048 * 2, 3000));
        Bytes expected((2048 + row.appended) * 4);
        std::copy(data.begin(), data.end(), expected.begin() + row.delay * 4);
        CHECK(host.Run(kStereo16, data, 1000) == expected);
    }
}

TEST_CASE(
    "a tail is described by the block, in memory of the instance's, and an empty last block gets it too") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    effects.Plan().delay = 441;
    REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
    Bytes data = Shorts(std::vector<std::int16_t>(882, 3000));
    DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), false);
    REQUIRE(module.PassAudioBlock(host.instance, &block) == 1);
    CHECK(UINT64{block.nDurationMs} == 4711);
    DSPAudioBlock last = CHost::Block(kStereo16, nullptr, 0, true);
    REQUIRE(module.PassAudioBlock(host.instance, &last) == 1);
    CHECK(last.nBytes == 512 * 4);
    CHECK(UINT64{last.nDurationMs} == 512 * 4 * 1000 / 176400);
    REQUIRE(last.pData != nullptr);
    std::int16_t sample = 0;
    std::memcpy(&sample, last.pData + 440 * 4, 2);
    CHECK(sample == 3000);
    // The host may pass the very memory back.
    last.bLastBlock = 1;
    effects.Plan().offset = 0.25f;
    REQUIRE(module.PassAudioBlock(host.instance, &last) == 1);
    CHECK(last.nBytes == 512 * 4 + 861 * 512 * 4);
}

TEST_CASE("an effect that never falls silent rings for the whole pieces of ten seconds") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const float offset : {0.25f, 0.0005f, -0.0005f, 0.0004f}) {
        CAPTURE(offset);
        effects.Reset();
        effects.Plan().offset = offset;
        const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 1);
        REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
        const Bytes out = host.Run(format, Bytes(4), 1);
        CHECK(out.size() == 4 + (offset == 0.0004f ? 0 : 861 * 512 * 4));
    }
}

TEST_CASE("channels beyond the second are silence in the tail") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const WORD bits : {WORD{8}, WORD{16}}) {
        effects.Reset();
        effects.Plan().delay = 10;
        const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, bits, 3);
        REQUIRE(host.Begin(format, CLSID_TestEffect) == 1);
        const Bytes out = host.Run(format, Noise(format, 600), 600);
        REQUIRE(out.size() == std::size_t{600 + 512} * format.nBlockAlign);
        const std::uint8_t silence = bits == 8 ? 0x80 : 0;
        CHECK(out[600u * format.nBlockAlign + 2u * bits / 8] == silence);
        CHECK(out[611u * format.nBlockAlign] == silence);
    }
}

TEST_CASE("an effect with mono output: its samples are taken as left and right in turn") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    effects.Plan().monoOutput = true;
    REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
    std::vector<std::int16_t> samples(1024);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(i * 16);
    Bytes data = Shorts(samples);
    DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), false);
    REQUIRE(module.PassAudioBlock(host.instance, &block) == 1);
    std::vector<std::int16_t> out(1024);
    std::memcpy(out.data(), data.data(), data.size());
    for (std::size_t i = 0; i < 512; ++i)
        REQUIRE(out[i] == samples[2 * i]);
}

TEST_CASE(
    "the effect is connected at the stream's rate with the state of the settings, for each conversion anew") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    const Bytes half{0, 0, 0, 0x3F};
    const std::wstring settings = CHost::SettingsFor(L"n", CLSID_TestEffect, half);
    for (int i = 1; i <= 3; ++i) {
        effects.Plan().gain = 1;
        REQUIRE(host.Begin(CHost::Format(WAVE_FORMAT_PCM, 16, 2, 8000), settings) == 1);
        CHECK(effects.Plan().gain == 0.5f);
        CHECK(effects.Calls(Place::CreateEffect) == i);
        CHECK(effects.Record().liveObjects == 2);
        Bytes data(80 * 4);
        DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), false);
        for (int n = 0; n < 2; ++n)
            REQUIRE(module.PassAudioBlock(host.instance, &block) == 1);
        CHECK(effects.Record().lastBlocks[(effects.Record().blocks - 1) % 64].start == 100'000); // 10 ms
    }
    // No decodable text: the effect of before goes on, and a stream at another rate hears the same effect.
    REQUIRE(host.Begin(kStereo16, L"") == 1);
    CHECK(effects.Calls(Place::CreateEffect) == 3);
    CHECK(host.Run(kStereo16, Shorts({2000, 2000}), 1) == Shorts({1000, 1000}));
}

TEST_CASE("a state that lies about its length connects nothing, one that the effect rejects is ignored") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    std::wstring lying = CHost::SettingsFor(L"n", CLSID_TestEffect, {1, 2, 3, 4});
    for (const wchar_t* length : {L"05000000", L"FFFFFFFF", L"FFFFFF7F", L"00000080"}) {
        lying.replace(3 + 32, 8, length);
        CHECK(host.Begin(kStereo16, lying) == 0);
        CHECK(host.errors.Take() == L"Error: Connect to DirectX PlugIn  [clDSP::BeginConversion]\r\n");
    }
    CHECK(effects.Calls(Place::CreateEffect) == 0);
    CHECK(host.Begin(kStereo16, CHost::SettingsFor(L"n", CLSID_TestEffect, {1, 2})) == 1);
    CHECK(host.Begin(kStereo16, CHost::SettingsFor(L"n", CLSID_TestEffect, {1, 2, 3, 4}).substr(0, 47)) == 1);
    CHECK(effects.Calls(Place::CreateEffect) == 1); // too short: the effect of before goes on
}

TEST_CASE("what can't be converted is refused with its line, and the effect is gone") {
    WAVEFORMATEXTENSIBLE extensible{};
    extensible.Format = CHost::Format(WAVE_FORMAT_EXTENSIBLE, 16, 2);
    extensible.Format.cbSize = 22;
    extensible.SubFormat = {1, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}}; // PCM
    WAVEFORMATEXTENSIBLE unknownSub = extensible;
    unknownSub.SubFormat = CLSID_TestEffect;
    WAVEFORMATEXTENSIBLE shortExtra = extensible;
    shortExtra.Format.cbSize = 21;
    WAVEFORMATEX floating = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 6);
    floating.nBlockAlign = 1; // worked out anew
    const WAVEFORMATEX bits20 = CHost::Format(WAVE_FORMAT_PCM, 20, 2);
    const WAVEFORMATEX none = CHost::Format(WAVE_FORMAT_PCM, 16, 0);
    const WAVEFORMATEX mulaw = CHost::Format(WAVE_FORMAT_MULAW, 8, 1);
    const WAVEFORMATEX floating64 = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 64, 2);
    struct Row {
        std::string name;
        const WAVEFORMATEX* format;
        bool taken;
    };
    const Row rows[] = {{"extensible PCM", &extensible.Format, true},
        {"unknown sub-format", &unknownSub.Format, false},
        {"extensible without its extra bytes", &shortExtra.Format, false},
        {"six channels of float", &floating, true}, {"20 bits", &bits20, false},
        {"no channels", &none, false}, {"mu-law", &mulaw, false}, {"64-bit float", &floating64, false}};
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const Row& row : rows) {
        CAPTURE(row.name);
        CHECK(host.Begin(*row.format, CLSID_TestEffect) == (row.taken ? 1u : 0u));
        CHECK(effects.Record().liveObjects == (row.taken ? 2 : 0));
        CHECK(host.errors.Take() ==
              (row.taken ? L"" : L"Error: Unsupported audio format  [clDSP::BeginConversion]\r\n"));
    }
    CHECK(
        host.trace.Take().find(L"*** Error: Error: Unsupported audio format  [clDSP::BeginConversion]\r\n") !=
        std::wstring::npos);
}

TEST_CASE("an effect that fails in a block costs that block from there on, and one line") {
    struct Row {
        std::string name;
        Frames frames;
        Place place;
    };
    const Row rows[] = {{"fewer frames", Frames::Fewer, Place::None},
        {"no frames", Frames::None, Place::None}, {"failing", Frames::Same, Place::Receive}};
    CModule module;
    CTestEffects effects;
    CHost host(module);
    for (const Row& row : rows) {
        CAPTURE(row.name);
        effects.Reset();
        effects.Plan().gain = 0.5f;
        effects.Plan().frames = row.frames;
        effects.Plan().oddBlock = 1;
        effects.Plan().place = row.place;
        effects.Plan().fault = Fault::Fail;
        effects.Plan().nth = 2;
        REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
        Bytes data = Shorts(std::vector<std::int16_t>(2048, 1000));
        DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), true);
        CHECK(module.PassAudioBlock(host.instance, &block) == 0);
        CHECK(host.errors.Take() == L"Error: CDXClient::FillBuffer  [clDSP::PassAudioBlock]\r\n");
        CHECK(data[511 * 4] == 0xF4); // 500: done before the failure
        CHECK(data[512 * 4] == 0xE8); // 1000: not reached
        effects.Reset();
        REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
        CHECK(host.Run(kStereo16, Shorts({7, 8}), 1) == Shorts({7, 8}));
    }
}

TEST_CASE("absurd calls and records do nothing worse than fail, and the next conversion works") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    Bytes data = Shorts(std::vector<std::int16_t>(1024, 1000));
    const Bytes before = data;
    DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), true);
    CHECK(module.PassAudioBlock(host.instance, nullptr) == 0);
    CHECK(module.PassAudioBlock(host.instance, &block) == 1); // before any conversion
    module.ShowConfigBit(host.instance, nullptr, 0, 0, CHost::SettingsFor(L"n", CLSID_TestEffect).c_str());
    effects.Plan().gain = 0.5f;
    CHECK(module.PassAudioBlock(host.instance, &block) == 1); // an effect, but no format yet
    CHECK(data == before);
    CHECK(module.BeginConversion(host.instance, nullptr, L"") == 0);
    const DSPConversionInfo noFormat{};
    CHECK(module.BeginConversion(host.instance, &noFormat, nullptr) == 1); // the effect went with the failure
    CHECK(module.BeginConversion(
              host.instance, &noFormat, CHost::SettingsFor(L"n", CLSID_TestEffect).c_str()) == 0);
    host.errors.Take();

    REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
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
        {"zero block align", [](DSPAudioBlock& bad) { bad.wfx.ex.nBlockAlign = 0; }, 1},
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
        CHECK(module.PassAudioBlock(host.instance, &bad) == row.result);
    }
    effects.Reset();
    REQUIRE(host.Begin(kStereo16, CLSID_TestEffect) == 1);
    CHECK(host.Run(kStereo16, before, 100) == before);
}

TEST_CASE("a host that is let in from within the effect is turned away, and the call that runs goes on") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    struct Intruder {
        CModule& module;
        CHost& host;
        DWORD results;
    } intruder{module, host, 0};
    for (const Place place : {Place::CreatePage, Place::Run, Place::Load, Place::Receive, Place::Save}) {
        CAPTURE(static_cast<int>(place));
        effects.Reset();
        effects.Plan().place = place;
        effects.Plan().fault = Fault::CallBack;
        effects.Plan().callbackArgument = &intruder;
        effects.Plan().callback = [](void* argument) {
            auto& self = *static_cast<Intruder*>(argument);
            Bytes data(40);
            DSPAudioBlock block = CHost::Block(kStereo16, data.data(), data.size(), false);
            self.results += self.host.Begin(kStereo16, CLSID_TestEffect);
            self.results += self.module.PassAudioBlock(self.host.instance, &block);
            self.module.ShowConfigBit(self.host.instance, nullptr, 0, 0, L"x=X00");
            self.module.RemoveConfigBit(self.host.instance, 0);
            self.module.Destroy(self.host.instance);
        };
        REQUIRE(host.Begin(kStereo16, CHost::SettingsFor(L"n", CLSID_TestEffect, {0, 0, 0x80, 0x3F})) == 1);
        CHECK(host.Run(kStereo16, Shorts({7, 8}), 1) == Shorts({7, 8}));
        CHECK(std::wstring(module.RemoveConfigBit(host.instance, 0)).size() > 50);
        CHECK(effects.Calls(place) >= 1);
        CHECK(intruder.results == 0);
        CHECK(effects.Record().liveObjects == 2);
    }
}
