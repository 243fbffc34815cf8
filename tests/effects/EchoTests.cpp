#include "tests/effects/CEchoRig.h"
#include "tests/effects/echo_model.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <random>

using Microsoft::WRL::ComPtr;

namespace {

struct Values {
    LONG delayMs;
    LONG feedback;
    LONG mix;
};

bool SameBits(const std::vector<float>& left, const std::vector<float>& right) {
    return left.size() == right.size() &&
           std::memcmp(left.data(), right.data(), left.size() * sizeof(float)) == 0;
}

bool AllFinite(const std::vector<float>& samples) {
    for (const float sample : samples)
        if (!std::isfinite(sample))
            return false;
    return true;
}

/// Noise in which every so often something lies that is easily got wrong: zeros of both signs, subnormals,
/// values near both ends of what the line keeps.
class CNoise {
public:
    std::vector<float> Block(std::size_t count) {
        constexpr float kOdd[] = {0.0F, -0.0F, 1e-40F, -1.3e-38F, 1e-15F, 0.9e-15F, -1e15F, 1.1e15F, 3e38F};
        std::vector<float> block(count);
        for (float& sample : block) {
            const unsigned draw = m_draw();
            sample = draw % 64 == 0 ? kOdd[draw / 64 % std::size(kOdd)]
                                    : static_cast<float>(static_cast<int>(draw)) * 0x1p-31F;
        }
        return block;
    }

private:
    std::mt19937 m_draw{20240229};
};

// Runs `frames` frames, with a change to `later` in the middle, and compares every block with the model.
void CompareWithModel(const CEchoModule& module, DWORD rate, WORD channels, std::size_t blockFrames,
    bool readOnly, const Values& first, const Values& later, std::size_t frames) {
    CEchoRig rig(module);
    rig.Source().m_readOnly = readOnly;
    REQUIRE(rig.ConnectInput(rate, channels) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    rig.Set(first.delayMs, first.feedback, first.mix);
    rig.Start();
    CEchoModel model(rate, channels);
    model.Set(first.delayMs, first.feedback, first.mix);
    CNoise noise;
    bool changed = false;
    for (std::size_t done = 0; done < frames; done += blockFrames) {
        if (!changed && done >= frames / 2) {
            rig.Set(later.delayMs, later.feedback, later.mix);
            model.Set(later.delayMs, later.feedback, later.mix);
            changed = true;
        }
        const std::vector<float> input = noise.Block(blockFrames * channels);
        std::vector<float> expected = input;
        model.Process(expected.data(), expected.size());
        std::vector<float> sample = input;
        REQUIRE(rig.Push(sample) == S_OK);
        REQUIRE(rig.m_wasInPlace == !readOnly);
        REQUIRE(SameBits(sample, readOnly ? input : expected));
        if (!SameBits(rig.Sink().m_samples, expected)) {
            INFO("first frame of the block: " << done);
            FAIL("the effect and its model differ");
        }
    }
}

} // namespace

TEST_CASE("the output is the model's to the last bit, in place and copied") {
    const CEchoModule module;
    struct {
        Values first;
        Values later;
    } const sets[] = {{{1, 95, 100}, {3, 60, 0}}, {{30, 40, 35}, {20, 0, 50}}, {{7, 95, 60}, {2000, 95, 1}}};
    for (const DWORD rate : {800UL, 8000UL, 44100UL, 192000UL})
        for (const WORD channels : {WORD{1}, WORD{2}})
            for (const std::size_t block : {1U, 7U, 511U, 512U})
                for (const bool readOnly : {false, true})
                    for (const auto& set : sets) {
                        CAPTURE(rate);
                        CAPTURE(channels);
                        CAPTURE(block);
                        CAPTURE(readOnly);
                        CAPTURE(set.first.delayMs);
                        CompareWithModel(module, rate, channels, block, readOnly, set.first, set.later,
                            std::min<std::size_t>(rate / 10 + 100, block * 300));
                    }
    // long enough for the longest delay to come round, and for it to be cut short with a full line
    CompareWithModel(module, 8000, 2, 512, false, {2000, 80, 50}, {1500, 80, 50}, 100000);
}

TEST_CASE("the tail of a burst ends in exact silence, and what is not a number does not stay") {
    const CEchoModule module;
    CEchoRig rig(module);
    REQUIRE(rig.ConnectInput(8000, 2) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    rig.Set(10, 95, 100);
    rig.Start();
    std::vector<float> block = CNoise().Block(1024);
    for (std::size_t n = 0; n < block.size(); n += 5)
        block[n] =
            n % 2 == 0 ? std::numeric_limits<float>::quiet_NaN() : -std::numeric_limits<float>::infinity();
    REQUIRE(rig.Push(block) == S_OK);
    const std::vector<float> silence(1024);
    int blocks = 0; // of 64 ms: 20 passes of the 10 ms line in every three, each 0.45 dB lower
    do {
        block = silence;
        REQUIRE(rig.Push(block) == S_OK);
        REQUIRE(AllFinite(block));
        for (const float sample : block)
            REQUIRE((sample == 0 || std::fabs(sample) >= std::numeric_limits<float>::min()));
    } while (!SameBits(block, silence) && ++blocks < 1000);
    CHECK(blocks > 100);
    CHECK(blocks < 1000);
}

TEST_CASE("the line is silent after a start and after a flush, but runs on over a discontinuity") {
    const CEchoModule module;
    CEchoRig rig(module);
    REQUIRE(rig.ConnectInput(44100, 1) == S_OK);
    REQUIRE(rig.ConnectOutput() == S_OK);
    rig.Set(1, 50, 100);
    rig.Start();
    const auto echoOf = [&](float value) {
        std::vector<float> block(44, value);
        REQUIRE(rig.Push(block) == S_OK);
        return rig.Sink().m_samples.front();
    };
    CHECK(echoOf(1) == 0.0F);
    CHECK(echoOf(0) == 1.0F); // every block of the rig is marked as a discontinuity
    rig.Stop();
    rig.Start();
    CHECK(echoOf(1) == 0.0F);
    CHECK(rig.m_in->BeginFlush() == S_OK);
    std::vector<float> refused(44);
    CHECK(rig.Push(refused) == S_FALSE);
    CHECK(rig.m_in->EndFlush() == S_OK);
    CHECK(echoOf(0) == 0.0F);
    CHECK(rig.m_in->NewSegment(0, 1, 1.0) == S_OK);
    CHECK(rig.m_in->EndOfStream() == S_OK);
    CHECK(rig.Sink().m_events == "fFne");
}

TEST_CASE("times and marks survive, an empty block passes, and what must not be processed is refused") {
    const CEchoModule module;
    for (const bool readOnly : {false, true}) {
        CAPTURE(readOnly);
        CEchoRig rig(module);
        rig.Source().m_readOnly = readOnly;
        REQUIRE(rig.ConnectInput(44100, 2) == S_OK);
        REQUIRE(rig.ConnectOutput() == S_OK);
        CHECK((rig.Source().Allocator() == rig.Sink().Allocator()) == !readOnly);
        rig.Start();
        for (const std::size_t floats : {64U, 0U}) {
            std::vector<float> block(floats);
            REQUIRE(rig.Push(block) == S_OK);
            CHECK(rig.Sink().m_samples.size() == floats);
            CHECK(rig.Sink().m_timed == VFW_S_NO_STOP_TIME);
            CHECK(rig.Sink().m_start == 70);
            CHECK(rig.Sink().m_discontinuity);
        }
        std::vector<float> halfFrame(3);
        CHECK(rig.Push(halfFrame) == E_INVALIDARG);
        ComPtr<IMediaSample> sample;
        REQUIRE(rig.Source().GetDeliveryBuffer(&sample, nullptr, nullptr, 0) == S_OK);
        rig.Stop();
        CHECK(rig.m_memIn->Receive(sample.Get()) == VFW_E_WRONG_STATE);
        CEchoRig loose(module);
        CHECK(loose.m_effect->Pause() == S_OK);
        CHECK(loose.m_memIn->Receive(sample.Get()) == VFW_E_NOT_CONNECTED);
    }
}

TEST_CASE("float audio of one or two channels is accepted under either subtype, anything else is not") {
    const CEchoModule module;
    const CEchoRig rig(module);
    constexpr WORD kFloat = WAVE_FORMAT_IEEE_FLOAT;
    constexpr WORD kExtensible = WAVE_FORMAT_EXTENSIBLE;
    const struct {
        HRESULT answer;
        GUID subtype;
        WAVEFORMATEX format;
    } rows[] = {{S_OK, MEDIASUBTYPE_PCM, {kFloat, 2, 44100, 0, 8, 32, 0}},
        {S_OK, MEDIASUBTYPE_IEEE_FLOAT, {kFloat, 1, 1, 0, 4, 32, 0}},
        {S_OK, MEDIASUBTYPE_PCM, {kExtensible, 2, 768000, 0, 8, 32, 22}},
        {S_FALSE, MEDIASUBTYPE_PCM, {kExtensible, 2, 44100, 0, 8, 32, 0}}, // no sub-format
        {S_FALSE, MEDIASUBTYPE_MPEG1Audio, {kFloat, 2, 44100, 0, 8, 32, 0}},
        {S_FALSE, MEDIASUBTYPE_PCM, {kFloat, 3, 44100, 0, 12, 32, 0}},
        {S_FALSE, MEDIASUBTYPE_PCM, {kFloat, 2, 0, 0, 8, 32, 0}},
        {S_FALSE, MEDIASUBTYPE_PCM, {WAVE_FORMAT_PCM, 2, 44100, 0, 8, 32, 0}},
        {S_FALSE, MEDIASUBTYPE_PCM, {kFloat, 2, 44100, 0, 16, 64, 0}},
        {S_FALSE, MEDIASUBTYPE_PCM, {kFloat, 2, 44100, 0, 4, 32, 0}}};
    for (const auto& row : rows) {
        WAVEFORMATEXTENSIBLE format{row.format, {0}, 0, MEDIASUBTYPE_IEEE_FLOAT};
        CMediaType type;
        REQUIRE(type.SetAudio(format.Format) == S_OK);
        type.subtype = row.subtype;
        CHECK_MESSAGE(rig.m_in->QueryAccept(&type) == row.answer, (&row - rows));
    }
}

TEST_CASE("connected from its output, the effect offers the downstream allocator and works in place") {
    const CEchoModule module;
    CEchoRig rig(module);
    rig.Source().m_takeOffer = true;
    CMediaType type;
    type.SetAudio(FloatFormat(44100, 1));
    REQUIRE(rig.m_out->Connect(&rig.Sink(), &type) == S_OK);
    CHECK(rig.ConnectInput(44100, 2) != S_OK);
    CHECK(rig.ConnectInput(48000, 1) != S_OK);
    const IMemAllocator* const offered = rig.Sink().Allocator();
    REQUIRE(rig.ConnectInput(44100, 1) == S_OK);
    CHECK(rig.Source().Allocator() == offered);
    CHECK(rig.Sink().Allocator() == offered);
    CEchoRig foreign(module); // upstream insists on its own: downstream is told of that one
    REQUIRE(foreign.m_out->Connect(&foreign.Sink(), &type) == S_OK);
    REQUIRE(foreign.ConnectInput(44100, 1) == S_OK);
    CHECK(foreign.Source().Allocator() == foreign.Sink().Allocator());
    for (CEchoRig* const connected : {&rig, &foreign}) {
        connected->Start();
        std::vector<float> block(512);
        CHECK(connected->Push(block) == S_OK);
        CHECK(connected->m_wasInPlace);
    }
}

TEST_CASE("state that was saved comes back, and anything else is refused without a trace") {
    const CEchoModule module;
    const auto echo = module.Create<IEcho>(kEchoFilterClsid, IID_IEcho);
    ComPtr<IPersistStream> persist;
    REQUIRE(echo->QueryInterface(IID_IPersistStream, &persist) == S_OK);
    CLSID clsid{};
    CHECK(persist->GetClassID(&clsid) == S_OK);
    CHECK(clsid == kEchoFilterClsid);
    const auto values = [&] {
        std::vector<LONG> all(kEchoParameters);
        for (DWORD n = 0; n < kEchoParameters; ++n)
            REQUIRE(echo->GetParameter(n, &all[n]) == S_OK);
        return all;
    };
    const auto load = [&](const std::vector<BYTE>& bytes) {
        ComPtr<IStream> stream;
        REQUIRE(::CreateStreamOnHGlobal(nullptr, TRUE, &stream) == S_OK);
        stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        ULARGE_INTEGER length{};
        length.QuadPart = bytes.size();
        stream->SetSize(length);
        return persist->Load(stream.Get());
    };
    CHECK(values() == std::vector<LONG>{250, 40, 35});
    CHECK(persist->IsDirty() == S_FALSE);
    for (DWORD n = 0; n < kEchoParameters; ++n) {
        CHECK(echo->SetParameter(n, kEchoRanges[n].least - 1) == E_INVALIDARG);
        CHECK(echo->SetParameter(n, kEchoRanges[n].most + 1) == E_INVALIDARG);
        CHECK(echo->SetParameter(n, kEchoRanges[n].most) == S_OK);
    }
    CHECK(echo->SetParameter(kEchoParameters, 1) == E_INVALIDARG);
    CHECK(persist->IsDirty() == S_OK);

    const std::vector<BYTE> good = {
        'E', 'c', 'h', 'o', 1, 0, 0, 0, 0x2C, 0x01, 0, 0, 10, 0, 0, 0, 100, 0, 0, 0};
    std::vector<BYTE> padded = good;
    padded.resize(32, 0xEE); // global memory is rounded up
    REQUIRE(load(padded) == S_OK);
    const std::vector<LONG> loaded = {300, 10, 100};
    CHECK(values() == loaded);
    CHECK(persist->IsDirty() == S_FALSE);

    ComPtr<IStream> stream;
    REQUIRE(::CreateStreamOnHGlobal(nullptr, TRUE, &stream) == S_OK);
    for (const LONG delayMs : {301L, 300L})
        CHECK(echo->SetParameter(kEchoDelay, delayMs) == S_OK);
    CHECK(persist->IsDirty() == S_OK);
    REQUIRE(persist->Save(stream.Get(), TRUE) == S_OK);
    CHECK(persist->IsDirty() == S_FALSE);
    std::vector<BYTE> saved(64);
    ULONG length = 0;
    stream->Seek({}, STREAM_SEEK_SET, nullptr);
    stream->Read(saved.data(), 64, &length);
    saved.resize(length);
    CHECK(saved == good);
    ULARGE_INTEGER most{};
    CHECK(persist->GetSizeMax(&most) == S_OK);
    CHECK(most.QuadPart == good.size());

    for (std::size_t cut = 0; cut < good.size(); ++cut)
        CHECK(FAILED(load({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)})));
    struct {
        std::size_t at;
        BYTE value;
    } const damages[] = {
        {0, 'e'}, {3, 0}, {4, 2}, {7, 1}, {9, 0x08}, {11, 0x80}, {12, 96}, {16, 101}, {19, 0xFF}};
    for (const auto& damage : damages) {
        std::vector<BYTE> bad = good;
        bad[damage.at] = damage.value;
        CHECK_MESSAGE(FAILED(load(bad)), damage.at);
    }
    CHECK(values() == loaded);
}
