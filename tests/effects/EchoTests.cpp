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
    Floats refused(3); // a frame and a half
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
