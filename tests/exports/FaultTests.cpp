// Faults of an effect in each call that the module or the graph manager makes into it: the process lives, the
// host gets the result and the log line of a failure, and the next conversion with a healthy effect is right.

#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"

#include <doctest/doctest.h>
#include <immintrin.h>

namespace {

// When the fault hits, from the host's side.
enum class Phase { Connecting, State, Block, Saving, Leaving };

struct PlaceRow {
    Place place;
    std::string name;
    Phase phase;
};

const PlaceRow kPlaces[] = {
    {Place::GetClassObject, "GetClassObject", Phase::Connecting},
    {Place::CreateEffect, "CreateInstance", Phase::Connecting},
    {Place::QueryPages, "QueryInterface for pages", Phase::Connecting},
    {Place::GetPages, "GetPages", Phase::Connecting},
    {Place::CreatePage, "creating the page", Phase::Connecting},
    {Place::SetPageSite, "SetPageSite", Phase::Connecting},
    {Place::SetObjects, "SetObjects", Phase::Connecting},
    {Place::GetPageInfo, "GetPageInfo", Phase::Connecting},
    {Place::JoinGraph, "JoinFilterGraph", Phase::Connecting},
    {Place::EnumPins, "EnumPins", Phase::Connecting},
    {Place::NextPin, "IEnumPins::Next", Phase::Connecting},
    {Place::QueryPinInfo, "QueryPinInfo", Phase::Connecting},
    {Place::ReceiveConnection, "ReceiveConnection", Phase::Connecting},
    {Place::InputRequirements, "GetAllocatorRequirements", Phase::Connecting},
    {Place::InputGetAllocator, "GetAllocator", Phase::Connecting},
    {Place::NotifyAllocator, "NotifyAllocator", Phase::Connecting},
    {Place::OutputConnect, "Connect", Phase::Connecting},
    {Place::Pause, "Pause", Phase::Connecting},
    {Place::Run, "Run", Phase::Connecting},
    {Place::QueryPersist, "QueryInterface for the state", Phase::State},
    {Place::Load, "Load", Phase::State},
    {Place::Receive, "Receive", Phase::Block},
    {Place::ReceiveAfterDelivery, "Receive, after its own delivery", Phase::Block},
    {Place::Save, "Save", Phase::Saving},
    {Place::Deactivate, "Deactivate", Phase::Leaving},
    {Place::Stop, "Stop", Phase::Leaving},
    {Place::Disconnect, "Disconnect", Phase::Leaving},
    {Place::LeaveGraph, "JoinFilterGraph with null", Phase::Leaving},
    {Place::LastPageRelease, "last Release of the page", Phase::Leaving},
    {Place::LastEffectRelease, "last Release of the effect", Phase::Leaving},
};

const struct {
    Fault fault;
    std::string name;
} kFaults[] = {{Fault::ReadViolation, "read"}, {Fault::WriteViolation, "write"},
    {Fault::ExecuteViolation, "execute"}, {Fault::IntegerDivide, "integer divide"},
    {Fault::IllegalInstruction, "illegal instruction"}, {Fault::Breakpoint, "breakpoint"},
    {Fault::FloatDivide, "floating point"}, {Fault::ForeignThrow, "C++ exception of another compiler"},
    {Fault::StackOverflow, "stack overflow"}};

constexpr wchar_t kSetDX[] = L"Error: CDXClient::SetDX  [clDSP::ConnectDX]\r\n";
constexpr wchar_t kConnect[] = L"Error: Connect to DirectX PlugIn  [clDSP::BeginConversion]\r\n";
constexpr wchar_t kFillBuffer[] = L"Error: CDXClient::FillBuffer  [clDSP::PassAudioBlock]\r\n";

const WAVEFORMATEX kFloat = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 2);

std::vector<std::uint8_t> Sound(std::uint32_t frames) {
    std::vector<std::uint8_t> data(std::size_t{frames} * 8);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = i % 4 == 3 ? 0x3F : static_cast<std::uint8_t>(i * 7);
    return data;
}

// What the host saw of a conversion and its end: result of each step, error lines.
struct Outcome {
    DWORD begin = 0;
    bool blockFailed = false;
    std::wstring settings;
    std::wstring errors;
};

// Leaves the instance without an effect, and the error log empty.
std::wstring TakeAway(CHost& host) {
    host.Begin(kFloat, CHost::SettingsFor(L"", GUID{}));
    std::wstring errors = host.errors.Take();
    const std::wstring farewell = kConnect;
    REQUIRE(errors.ends_with(farewell));
    errors.resize(errors.size() - farewell.size());
    return errors;
}

Outcome Convert(
    CModule& module, CHost& host, CTestEffects& effects, const TestEffectPlan& plan, bool onLeaving) {
    Outcome outcome;
    const std::vector<std::uint8_t> state{0, 0, 0x80, 0x3F};
    if (!onLeaving)
        effects.Plan() = plan;
    outcome.begin = host.Begin(kFloat, CHost::SettingsFor(L"T", CLSID_TestEffect, state));
    if (onLeaving) { // what belongs to taking the effect down happens while connecting, too
        effects.Plan().place = plan.place;
        effects.Plan().fault = plan.fault;
        effects.Plan().nth = effects.Calls(plan.place) + 1;
    }
    if (outcome.begin == 1) {
        host.Run(kFloat, Sound(2000), 700);
        outcome.blockFailed = host.failed;
    }
    outcome.settings = module.RemoveConfigBit(host.instance, 0);
    outcome.errors = TakeAway(host);
    return outcome;
}

} // namespace

TEST_CASE("a fault of the effect, wherever it hits, costs no more than what it hits") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    int cells = 0;
    for (const PlaceRow& row : kPlaces)
        for (const auto& [fault, faultName] : kFaults) {
            CAPTURE(row.name);
            CAPTURE(faultName);
            effects.Reset();
            TestEffectPlan plan;
            plan.place = row.place;
            plan.fault = fault;
            plan.nth = row.place == Place::Receive ? 3 : 1;
            const std::uint32_t mxcsr = _mm_getcsr();
            const Outcome outcome = Convert(module, host, effects, plan, row.phase == Phase::Leaving);
            CHECK(_mm_getcsr() == mxcsr);
            CHECK(effects.Calls(row.place) >= effects.Plan().nth); // it did hit
            CHECK(outcome.begin == (row.phase == Phase::Connecting ? 0u : 1u));
            CHECK(outcome.errors == (row.phase == Phase::Connecting ? std::wstring(kSetDX) + kConnect
                                        : row.phase == Phase::State || row.phase == Phase::Block ? kFillBuffer
                                                                                                 : L""));
            CHECK(outcome.blockFailed == (row.phase == Phase::State || row.phase == Phase::Block));
            CHECK(outcome.settings.empty() == (row.phase == Phase::Connecting));
            ++cells;

            effects.Reset();
            REQUIRE(host.Begin(kFloat, CLSID_TestEffect) == 1);
            CHECK(host.Run(kFloat, Sound(1000), 333) == Sound(1000));
            TakeAway(host);
        }
    MESSAGE("cells tried: " << cells);
}

TEST_CASE("an effect that has faulted is not entered again") {
    CModule module;
    CTestEffects effects;
    CHost host(module);
    effects.Plan().place = Place::Receive;
    effects.Plan().fault = Fault::ReadViolation;
    REQUIRE(host.Begin(kFloat, CLSID_TestEffect) == 1);
    host.Run(kFloat, Sound(2000), 700);
    const auto calls = effects.Record().calls;
    std::vector<std::uint8_t> data = Sound(10);
    DSPAudioBlock block = CHost::Block(kFloat, data.data(), data.size(), true);
    CHECK(module.PassAudioBlock(host.instance, &block) == 0);
    CHECK(data == Sound(10));
    CHECK(std::wstring(module.RemoveConfigBit(host.instance, 0)) ==
          CHost::SettingsFor(L"Test", CLSID_TestEffect));
    TakeAway(host);
    CHECK(effects.Record().calls == calls);
}
