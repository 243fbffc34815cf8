#include "tests/effects/CEchoRig.h"
#include "tests/effects/echo_model.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <random>

namespace {

using Floats = std::vector<float>;

bool SameBits(const Floats& left, const Floats& right) {
    return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size() * 4) == 0;
}

/// Half noise, half any bits at all: subnormals, infinities, no numbers, both ends of what the line keeps.
Floats Noise(std::mt19937& draw, std::size_t count) {
    Floats block(count);
    for (float& sample : block) {
        const auto bits = static_cast<std::int32_t>(draw());
        sample = draw() % 2 == 0 ? std::bit_cast<float>(bits) : static_cast<float>(bits) * 0x1p-31F;
    }
    return block;
}

// Every change of values comes upon a full line, the longest delay at the lowest rate included.
void CompareWithModel(CEchoRig& rig, DWORD rate, WORD channels, std::size_t blockFrames) {
    constexpr LONG kSets[][kEchoParameters] = {{1, 95, 100}, {3, 60, 0}, {30, 40, 35}, {20, 0, 50},
        {7, 95, 60}, {2000, 80, 50}, {1500, 95, 1}, {2000, 95, 100}};
    CEchoModel model(rate, channels);
    std::mt19937 draw;
    for (const auto& set : kSets) {
        rig.Set(set);
        model.Set(set[kEchoDelay], set[kEchoFeedback], set[kEchoMix]);
        for (std::size_t blocks = std::min<std::size_t>(100, 4000 / blockFrames); blocks != 0; --blocks) {
            const Floats input = Noise(draw, blockFrames * channels);
            Floats expected = input;
            model.Process(expected.data(), expected.size());
            Floats sample = input;
            REQUIRE(rig.Push(sample) == S_OK);
            REQUIRE(SameBits(sample, rig.m_source.m_readOnly ? input : expected));
            REQUIRE(SameBits(rig.m_sink.m_floats, expected));
            REQUIRE(rig.m_sink.m_isMarked);
        }
    }
}

} // namespace

TEST_CASE("the output is the model's to the last bit, in place and copied, with the input's time and marks") {
    for (const DWORD rate : {800UL, 44100UL, 192000UL})
        for (const WORD channels : {WORD{1}, WORD{2}})
            for (const std::size_t block : {1U, 7U, 511U, 512U})
                for (const bool readOnly : {false, true})
                    for (const bool outputFirst : {false, true}) {
                        INFO(rate, " Hz, ", channels, " channels, ", block, " frames, read-only ", readOnly);
                        CEchoRig rig;
                        rig.m_source.m_readOnly = readOnly;
                        rig.ConnectAndStart(rate, channels, outputFirst);
                        CompareWithModel(rig, rate, channels, block);
                    }
}

TEST_CASE("the tail of a burst ends in exact silence, and what is not a number does not stay") {
    CEchoRig rig;
    rig.ConnectAndStart(8000, 2);
    rig.Set({10, 95, 100});
    std::mt19937 draw;
    Floats block = Noise(draw, 1024);
    REQUIRE(rig.Push(block) == S_OK);
    const Floats silence(1024);
    int blocks = 0; // of 64 ms, in which the line goes round six times and each time 0.45 dB lower
    do {
        block = silence;
        REQUIRE(rig.Push(block) == S_OK);
        for (const float sample : block)
            REQUIRE((sample == 0 || std::isnormal(sample)));
    } while (!SameBits(block, silence) && ++blocks < 1000);
    CHECK(blocks < 1000);
}

TEST_CASE("the line is silent after a start and a flush, runs on over a discontinuity, takes whole frames") {
    CEchoRig rig;
    rig.ConnectAndStart(44100, 2);
    rig.Set({1, 50, 100});
    const auto echoOf = [&](float value) {
        Floats block(88, value);
        REQUIRE(rig.Push(block) == S_OK);
        return block.front();
    };
    CHECK(echoOf(1) == 0);
    CHECK(echoOf(0) == 1); // every block of the rig is marked as a discontinuity
    rig.m_effect->Stop();
    rig.Start();
    CHECK(echoOf(1) == 0);
    Floats refused(3);
    CHECK(rig.Push(refused) == E_INVALIDARG);
    CHECK(rig.m_in->BeginFlush() == S_OK);
    refused.clear();
    CHECK(rig.Push(refused) == S_FALSE);
    CHECK(rig.m_in->EndFlush() == S_OK);
    CHECK(echoOf(0) == 0);
    CHECK(rig.Push(refused) == S_OK); // empty
    CHECK(rig.m_in->EndOfStream() == S_OK);
    CHECK(rig.m_sink.m_events == "fFe");
}

TEST_CASE("32-bit float audio of one or two channels is accepted, anything else is not") {
    const CEchoRig rig;
    constexpr WAVEFORMATEX kRefused[] = {{0xFFFE, 2, 9, 0, 8, 32, 0}, {3, 3, 9, 0, 12, 32, 0},
        {3, 2, 0, 0, 8, 32, 0}, {1, 2, 9, 0, 8, 32, 0}, {3, 2, 9, 0, 16, 64, 0}, {3, 2, 9, 0, 4, 32, 0}};
    for (const WAVEFORMATEX& refused : kRefused) {
        CMediaType type;
        REQUIRE(type.SetAudio(refused) == S_OK);
        CHECK(rig.m_in->QueryAccept(&type) == S_FALSE);
    }
}

TEST_CASE("state that was saved comes back, and anything else is refused without a trace") {
    using Bytes = std::vector<BYTE>;
    const CEchoModule module;
    const auto persist = module.Create<IPersistStream>(kEchoFilterClsid);
    const auto streamOf = [](const Bytes& bytes) {
        ComPtr<IStream> stream;
        REQUIRE(::CreateStreamOnHGlobal(nullptr, TRUE, &stream) == S_OK);
        stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        return stream;
    };
    const auto load = [&](const Bytes& bytes) { return persist->Load(streamOf(bytes).Get()); };
    const auto save = [&] {
        const auto stream = streamOf({});
        CHECK(persist->Save(stream.Get(), TRUE) == S_OK);
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        Bytes bytes(64);
        ULONG length = 0;
        stream->Read(bytes.data(), 64, &length);
        bytes.resize(length);
        return bytes;
    };
    CHECK(save() == Bytes{'E', 'c', 'h', 'o', 1, 0, 0, 0, 250, 0, 0, 0, 40, 0, 0, 0, 35, 0, 0, 0});
    ComPtr<IEcho> echo;
    REQUIRE(persist.As(&echo) == S_OK);
    for (DWORD n = 0; n < kEchoParameters; ++n) {
        CHECK(echo->SetParameter(n, kEchoRanges[n].least - 1) == E_INVALIDARG);
        CHECK(echo->SetParameter(n, kEchoRanges[n].most + 1) == E_INVALIDARG);
    }
    CHECK(persist->IsDirty() == S_FALSE);
    CHECK(echo->SetParameter(kEchoMix, 0) == S_OK);
    CHECK(persist->IsDirty() == S_OK);
    const Bytes good = {'E', 'c', 'h', 'o', 1, 0, 0, 0, 0x2C, 0x01, 0, 0, 10, 0, 0, 0, 100, 0, 0, 0};
    REQUIRE(load(good) == S_OK);
    CHECK(persist->IsDirty() == S_FALSE);
    for (Bytes cut = good; !cut.empty();) {
        cut.pop_back();
        CHECK(FAILED(load(cut)));
    }
    const BYTE damages[][2] = {
        {0, 'e'}, {3, 0}, {4, 2}, {7, 1}, {9, 0x08}, {11, 0x80}, {12, 96}, {16, 101}, {19, 0xFF}};
    for (const auto& [at, value] : damages) {
        Bytes bad = good;
        bad[at] = value;
        CHECK_MESSAGE(FAILED(load(bad)), at);
    }
    CHECK(save() == good);
}
