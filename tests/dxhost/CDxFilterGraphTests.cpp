#include "dxhost/CDxFilterGraph.h"

#include "support/com.h"
#include "support/hresult.h"
#include "tests/effects/CTestEffects.h"

#include <doctest/doctest.h>
#include <wrl/client.h>
#include <mmreg.h>
#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

// A graph around the test effect, running unless the plan keeps it from that.
struct Rig {
    CComApartment com;
    CTestEffects effects;
    ComPtr<IBaseFilter> effect;
    HRESULT made = E_FAIL;
    std::unique_ptr<CDxFilterGraph> graph;

    HRESULT Start(std::int32_t rate = 44100, std::int32_t limit = 512) {
        ::CoCreateInstance(CLSID_TestEffect, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
            reinterpret_cast<void**>(effect.ReleaseAndGetAddressOf()));
        graph = std::make_unique<CDxFilterGraph>(&made);
        RETURN_IF_FAILED(graph->SetSampleRate(rate));
        RETURN_IF_FAILED(graph->SetBlockLimit(limit));
        RETURN_IF_FAILED(graph->SetEffect(effect.Get()));
        RETURN_IF_FAILED(graph->Pause());
        return graph->Run();
    }
    HRESULT Process(const std::vector<float>& in, const float** out) {
        *out = in.data();
        return graph->Process(out, static_cast<std::int32_t>(in.size() / 2));
    }
    const TestEffectBlock& Block(std::uint32_t n) { return effects.Record().lastBlocks[n % 64]; }
};

std::vector<float> Ramp(std::size_t frames, float start = 1) {
    std::vector<float> data(frames * 2);
    std::iota(data.begin(), data.end(), start);
    return data;
}

} // namespace

TEST_CASE(
    "each common kind of effect passes its blocks through, bit for bit, and leaves no reference behind") {
    const struct {
        std::string name;
        void (*plan)(TestEffectPlan&);
    } kinds[] = {
        {"copying, in the downstream pin's samples", [](TestEffectPlan&) {}},
        {"copying, in samples of its own", [](TestEffectPlan& plan) { plan.ownAllocator = true; }},
        {"in place", [](TestEffectPlan& plan) { plan.inPlace = true; }},
        {"in place, asks to reconnect its input",
            [](TestEffectPlan& plan) { plan.inPlace = plan.reconnects = true; }},
        {"changes cbSize and sample size of its output type",
            [](TestEffectPlan& plan) { plan.changesType = true; }},
    };
    for (const auto& kind : kinds) {
        CAPTURE(kind.name);
        Rig rig;
        kind.plan(rig.effects.Plan());
        REQUIRE(rig.Start() == S_OK);
        for (const std::size_t frames : {1u, 511u, 512u, 7u, 512u}) {
            CAPTURE(frames);
            const std::vector<float> in = Ramp(frames, static_cast<float>(frames));
            const float* out = nullptr;
            REQUIRE(rig.Process(in, &out) == S_OK);
            CHECK(out != in.data());
            CHECK(std::equal(in.begin(), in.end(), out));
        }
        rig.graph.reset();
        rig.effect->AddRef();
        CHECK(rig.effect->Release() == 1);
        rig.effect.Reset();
        CHECK(rig.effects.Record().liveObjects == 0);
    }
}

TEST_CASE("start times advance by the frames delivered and only first blocks are discontinuities") {
    Rig rig;
    REQUIRE(rig.Start(44100, 441) == S_OK);
    const std::vector<float> in = Ramp(441);
    const float* out = nullptr;
    for (int i = 0; i < 3; ++i)
        REQUIRE(rig.Process(in, &out) == S_OK);
    rig.graph->SetPosition(1000);
    REQUIRE(rig.Process(in, &out) == S_OK);
    REQUIRE(rig.graph->Run() == S_OK);
    REQUIRE(rig.Process(in, &out) == S_OK);
    const std::int64_t starts[] = {
        0, 100'000, 200'000, 1000 * 10'000'000LL / 44100, 1441 * 10'000'000LL / 44100};
    const bool discontinuities[] = {true, false, false, true, true};
    for (std::uint32_t i = 0; i < 5; ++i) {
        CAPTURE(i);
        CHECK(rig.Block(i).start == starts[i]);
        CHECK(rig.Block(i).discontinuity == discontinuities[i]);
        CHECK_FALSE(rig.Block(i).hasEnd);
    }
}

TEST_CASE("an effect that connects its output in mono only is used in mono") {
    for (const bool ownAllocator : {false, true}) {
        CAPTURE(ownAllocator);
        Rig rig;
        rig.effects.Plan().monoOutput = true;
        rig.effects.Plan().ownAllocator = ownAllocator; // whose samples hold half of what stereo needs
        REQUIRE(rig.Start() == S_OK);
        const std::vector<float> in = Ramp(512);
        const float* out = nullptr;
        REQUIRE(rig.Process(in, &out) == S_OK);
        for (std::size_t i = 0; i < 512; ++i)
            REQUIRE(out[i] == in[2 * i]);
        CHECK(::IsBadReadPtr(out, 1024 * sizeof(float)) == FALSE);
    }
}

TEST_CASE("rate and limit below 1 are refused and a change rebuilds the graph for them") {
    Rig rig;
    REQUIRE(rig.Start() == S_OK);
    CHECK(rig.graph->SetSampleRate(0) == E_INVALIDARG);
    CHECK(rig.graph->SetBlockLimit(-5) == E_INVALIDARG);
    CHECK(rig.graph->SetBlockLimit(CDxAllocator::kSizeCapBytes / 8 + 1) == E_FAIL); // less is granted
    CHECK(rig.graph->SetBlockLimit(512) == S_OK);
    const int connected = rig.effects.Calls(Place::ReceiveConnection);
    CHECK(rig.graph->SetSampleRate(44100) == S_OK);
    CHECK(rig.graph->SetBlockLimit(512) == S_OK);
    CHECK(rig.effects.Calls(Place::ReceiveConnection) == connected);
    CHECK(rig.graph->SetSampleRate(192000) == S_OK);
    CHECK(rig.effects.Calls(Place::ReceiveConnection) > connected);
    REQUIRE(rig.graph->Pause() == S_OK);
    REQUIRE(rig.graph->Run() == S_OK);
    const float* out = nullptr;
    CHECK(rig.Process(Ramp(512), &out) == S_OK);
    AM_MEDIA_TYPE type{};
    ComPtr<IPin> pin;
    REQUIRE(rig.effect->FindPin(L"In", &pin) == S_OK);
    REQUIRE(pin->ConnectionMediaType(&type) == S_OK);
    const auto* format = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
    CHECK((type.subtype == MEDIASUBTYPE_PCM && type.bFixedSizeSamples && type.lSampleSize == 8));
    CHECK((format->wFormatTag == WAVE_FORMAT_IEEE_FLOAT && format->nSamplesPerSec == 192000));
    CHECK(format->nAvgBytesPerSec == 192000 * 8);
    CMediaType::FreeRecord(type);
}

TEST_CASE("a graph without an effect, or whose build failed, processes nothing and takes the next effect") {
    for (const Place place : {Place::ReceiveConnection, Place::NotifyAllocator, Place::EnumPins}) {
        CAPTURE(static_cast<int>(place));
        Rig rig;
        rig.effects.Plan().place = place;
        rig.effects.Plan().fault = Fault::Fail;
        CHECK(rig.Start() == E_FAIL);
        const float* out = nullptr;
        CHECK(rig.Process(Ramp(512), &out) == E_FAIL);
        rig.effects.Reset();
        CHECK(rig.graph->SetEffect(nullptr) == S_OK);
        CHECK(rig.graph->SetEffect(rig.effect.Get()) == S_OK);
        CHECK(rig.graph->Run() == S_OK);
        CHECK(rig.Process(Ramp(512), &out) == S_OK);
    }
}

TEST_CASE("a reconnection that the graph manager carries out late leaves the graph working") {
    Rig rig;
    rig.effects.Plan().inPlace = true;
    REQUIRE(rig.Start() == S_OK);
    REQUIRE(rig.graph->Stop() == S_OK);
    FILTER_INFO info{};
    ComPtr<IPin> input;
    REQUIRE(rig.effect->QueryFilterInfo(&info) == S_OK);
    REQUIRE(rig.effect->FindPin(L"In", &input) == S_OK);
    CHECK(info.pGraph->Reconnect(input.Get()) == S_OK);
    info.pGraph->Release();
    REQUIRE(rig.graph->Run() == S_OK);
    const float* out = nullptr;
    CHECK(rig.Process(Ramp(512), &out) == S_OK);
}
