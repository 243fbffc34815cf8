// The fault matrix: an effect that breaks in each call made into it, in each way. The host's process lives,
// the host gets the result and the log lines of what failed, no lock stays held, and the next conversion with
// a healthy effect is right. The cells run in child processes with a time limit.

#include "tests/exports/CChildTest.h"
#include "tests/exports/CPanel.h"

#include <immintrin.h>
#include <algorithm>
#include <cstdlib>
#include <map>

namespace {

// What the host sees of a cell; also when a place is called.
enum class Phase {
    Connecting, ///< connecting fails
    Running,    ///< connecting succeeds, the block fails
    Saving,     ///< the settings lack the effect's state
    Leaving,    ///< nothing is seen
    Editor,     ///< nothing is seen but the editor's window
    Unharmed,   ///< the conversion goes on and is right
    Ended,      ///< the process does not live on
    Undefined   ///< memory that is in use was freed: whether the process lives on is chance
};

Phase PhaseOf(Place place) {
    if (place <= Place::Run)
        return Phase::Connecting;
    if (place <= Place::SamplePointer)
        return Phase::Running;
    if (place == Place::Save)
        return Phase::Saving;
    return place <= Place::PageWindow ? Phase::Editor : Phase::Leaving;
}

struct Cell {
    std::string kind;
    Place place;
    Fault fault;
    Phase phase;
    std::uint32_t offset = 0; // of a patch
    std::uint32_t value = 0;
    bool inPlace = false;
};

std::string Name(const Cell& cell) {
#define NAME_OF_PLACE(name) #name,
    static constexpr const char* kNames[] = {TEST_EFFECT_PLACES(NAME_OF_PLACE)};
#undef NAME_OF_PLACE
    return std::string(kNames[static_cast<int>(cell.place)]) + ": " + cell.kind + ", " +
           std::to_string(cell.offset) + "/" + std::to_string(cell.value) +
           (cell.inPlace ? ", in place" : "");
}

const std::pair<Fault, const char*> kFaults[] = {{Fault::ReadViolation, "read violation"},
    {Fault::WriteViolation, "write violation"}, {Fault::ExecuteViolation, "execute violation"},
    {Fault::IntegerDivide, "integer divide"}, {Fault::IllegalInstruction, "illegal instruction"},
    {Fault::Breakpoint, "breakpoint"}, {Fault::FloatDivide, "floating point"},
    {Fault::ForeignThrow, "another compiler's C++ exception"}, {Fault::StackOverflow, "stack overflow"}};

const std::pair<Fault, const char*> kEnds[] = {{Fault::Exit, "ExitProcess"},
    {Fault::Terminate, "TerminateProcess"}, {Fault::Abort, "abort"}, {Fault::LoseStack, "lost stack pointer"},
    {Fault::DestroyHeap, "overwritten heap"}, {Fault::OtherThread, "fault on a thread of its own"},
    {Fault::Hang, "never returns"}};

// Figures written into what a call gives out, and how the host then sees it.
struct Garbage {
    Place place;
    std::uint32_t offset;
    std::vector<std::uint32_t> values;
    Phase phase;
};
constexpr std::uint32_t kNowhere = 0x10;
constexpr std::uint32_t kNegative = 0xFFFFFFFF;
constexpr std::uint32_t kHuge = 0x7FFFFFFF;
// Null or nowhere given out by these fails the connection.
constexpr Place kNeeded[] = {Place::GetClassObject, Place::CreateEffect, Place::QueryBaseFilter,
    Place::QueryPages, Place::CreatePage, Place::QueryPage, Place::EnumPins, Place::NextPin,
    Place::InputPinInfo, Place::InputConnectedTo, Place::QueryMemInput};
const Garbage kHandOuts[] = {{Place::OutputConnectedTo, 0, {0}, Phase::Unharmed},
    {Place::OutputConnectedTo, 0, {kNowhere}, Phase::Connecting},
    {Place::InputGetAllocator, 0, {0}, Phase::Unharmed},
    {Place::InputGetAllocator, 0, {kNowhere}, Phase::Connecting},
    {Place::QueryPersist, 0, {0}, Phase::Unharmed}, {Place::QueryPersist, 0, {kNowhere}, Phase::Running},
    {Place::SamplePointer, 0, {0, kNowhere, 0xFFFFFF00}, Phase::Running}};
const Garbage kFigures[] = {
    {Place::GetPages, 0, {0, 2, kNegative}, Phase::Connecting},          // count
    {Place::GetPages, 4, {0, kNowhere}, Phase::Connecting},              // list
    {Place::GetPageInfo, 4, {kNowhere}, Phase::Editor},                  // title
    {Place::GetPageInfo, 8, {kNegative, 20'000, kHuge}, Phase::Editor},  // width
    {Place::GetPageInfo, 12, {kNegative, 20'000, kHuge}, Phase::Editor}, // height
    {Place::InputPinInfo, 4, {77}, Phase::Connecting},                   // direction
    {Place::InputDirection, 0, {77}, Phase::Unharmed}, {Place::OutputDirection, 0, {77}, Phase::Unharmed},
    {Place::InputRequirements, 0, {kNegative}, Phase::Unharmed},           // count
    {Place::InputRequirements, 4, {kNegative, kHuge}, Phase::Unharmed},    // size
    {Place::InputRequirements, 8, {kNegative, kHuge}, Phase::Unharmed},    // alignment
    {Place::InputRequirements, 12, {kNegative, kHuge}, Phase::Connecting}, // prefix
    {Place::OutputConnect, 64, {kNegative}, Phase::Connecting},            // size of the format
    {Place::OutputConnect, 68, {0, kNowhere}, Phase::Connecting},          // format
    {Place::SampleLength, 0, {kNegative, 0x2000, kHuge}, Phase::Running},
    {Place::SampleSize, 0, {kNegative}, Phase::Running}, {Place::SampleSize, 0, {kHuge}, Phase::Unharmed},
    {Place::Save, 0, {0, 100'000'000}, Phase::Saving}, // bytes
};

// Calls that were given something of ours, or stand for the effect and the page; how the host sees a
// reference that is never given back, and one given back twice.
const struct {
    std::vector<Place> places;
    Phase kept, dropped;
} kReferences[] = {{{Place::Receive, Place::ReceiveAfterDelivery}, Phase::Running,
                       Phase::Unharmed}, // sample
                                         // Pins, allocator, site, graph manager, clock, streams.
    {{Place::ReceiveConnection, Place::OutputConnect, Place::NotifyAllocator, Place::SetPageSite,
         Place::JoinGraph, Place::SetSyncSource, Place::Load, Place::Save},
        Phase::Unharmed, Phase::Unharmed},
    // The effect, by itself and by its page; the page.
    {{Place::Pause, Place::SetObjects, Place::GetPageInfo}, Phase::Unharmed, Phase::Undefined}};

std::vector<Cell> Cells() {
    std::vector<Cell> cells;
    for (int n = 1; n < static_cast<int>(Place::Count); ++n)
        for (const auto& [fault, name] : kFaults)
            cells.push_back({name, static_cast<Place>(n), fault, PhaseOf(static_cast<Place>(n))});
    const auto addGarbage = [&](const char* kind, const Garbage& row) {
        for (const std::uint32_t value : row.values)
            cells.push_back({kind, row.place, Fault::Patch, row.phase, row.offset, value});
    };
    for (const Place place : kNeeded)
        addGarbage("success with null or nowhere", {place, 0, {0, kNowhere}, Phase::Connecting});
    for (const Garbage& row : kHandOuts)
        addGarbage("success with null or nowhere", row);
    for (const Garbage& row : kFigures)
        addGarbage("garbage figure", row);
    for (const auto& [places, kept, dropped] : kReferences)
        for (const Place place : places)
            for (const bool inPlace : {false, true}) {
                cells.push_back({"reference never given back", place, Fault::Keep, kept, 0, 0, inPlace});
                cells.push_back(
                    {"reference given back twice", place, Fault::Overdrop, dropped, 0, 0, inPlace});
            }
    for (const auto& [fault, name] : kEnds)
        cells.push_back({name, Place::Receive, fault, Phase::Ended});
    std::stable_partition(
        cells.begin(), cells.end(), [](const Cell& cell) { return cell.phase != Phase::Undefined; });
    return cells;
}

constexpr wchar_t kSetDX[] = L"Error: CDXClient::SetDX  [clDSP::ConnectDX]\r\n";
constexpr wchar_t kConnect[] = L"Error: Connect to DirectX PlugIn  [clDSP::BeginConversion]\r\n";
constexpr wchar_t kFillBuffer[] = L"Error: CDXClient::FillBuffer  [clDSP::PassAudioBlock]\r\n";

const WAVEFORMATEX kFloat = CHost::Format(WAVE_FORMAT_IEEE_FLOAT, 32, 2);
const std::vector<std::uint8_t> kState{0, 0, 0x80, 0x3F}; // a gain of 1

std::vector<std::uint8_t> Sound(std::uint32_t frames) {
    std::vector<std::uint8_t> data(std::size_t{frames} * 8);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = i % 4 == 3 ? 0x3F : static_cast<std::uint8_t>(i * 7);
    return data;
}

/// Runs cells in this process, one after the other.
class CCells {
public:
    CCells() {
        ::SetUnhandledExceptionFilter(EndWithoutDebugger);
        m_panel.Show();
    }

    void Try(const Cell& cell) {
        const std::string name = Name(cell);
        CAPTURE(name);
        m_effects.Reset();
        const std::uint32_t mxcsr = _mm_getcsr();
        if (cell.phase == Phase::Editor)
            ThroughEditor(cell);
        else
            ThroughConversion(cell);
        if (cell.phase == Phase::Undefined)
            return;
        CHECK(_mm_getcsr() == mxcsr);
        CHECK(m_effects.Calls(cell.place) >= m_effects.Plan().nth); // it did hit
        CHECK(CallsFromAnotherThreadReturn());

        m_effects.Reset();
        REQUIRE(m_panel.Begin(kFloat, CLSID_TestEffect) == 1);
        CHECK(m_panel.Run(kFloat, Sound(1000), 333) == Sound(1000));
        TakeAway();
    }

private:
    void Arm(const Cell& cell, int nth) {
        TestEffectPlan& plan = m_effects.Plan();
        plan.place = cell.place;
        plan.fault = cell.fault;
        plan.nth = nth;
        plan.patchOffset = cell.offset;
        plan.patchValue = cell.value;
        plan.inPlace = cell.inPlace;
        plan.ownSamples = cell.place >= Place::SampleAddRef && cell.place <= Place::SamplePointer;
    }

    void ThroughConversion(const Cell& cell) {
        const bool leaving = cell.phase == Phase::Leaving; // such calls happen while connecting, too
        if (!leaving)
            Arm(cell, cell.place == Place::Receive || cell.place == Place::ReceiveAfterDelivery ? 3 : 1);
        const DWORD begun = m_panel.Begin(kFloat, CHost::SettingsFor(L"T", CLSID_TestEffect, kState));
        if (leaving)
            Arm(cell, m_effects.Calls(cell.place) + 1);
        const std::vector<std::uint8_t> output =
            begun == 1 ? m_panel.Run(kFloat, Sound(6000), 700) : Sound(0);
        const bool faulted = cell.phase == Phase::Running && cell.fault <= Fault::StackOverflow;
        const auto calls = m_effects.Record().calls;
        CHECK((!faulted || m_panel.Run(kFloat, Sound(10), 10) == Sound(10)));
        const std::wstring settings = m_module.RemoveConfigBit(m_panel.instance, 0);
        const std::wstring errors = TakeAway();
        CHECK((!faulted || m_effects.Record().calls == calls)); // it was not entered again
        CHECK(cell.phase != Phase::Ended);
        if (cell.phase == Phase::Undefined)
            return;
        CHECK(begun == (cell.phase == Phase::Connecting ? 0u : 1u));
        std::wstring expected;
        if (cell.phase == Phase::Connecting)
            expected = std::wstring(kSetDX) + kConnect;
        else if (cell.phase == Phase::Running)
            expected = faulted ? std::wstring(kFillBuffer) + kFillBuffer : kFillBuffer;
        CHECK(errors == expected);
        CHECK((begun == 1 && output == Sound(6000)) ==
              (cell.phase != Phase::Connecting && cell.phase != Phase::Running));
        CHECK(settings.empty() == (cell.phase == Phase::Connecting));
        CHECK((cell.phase != Phase::Saving || settings == CHost::SettingsFor(L"T", CLSID_TestEffect)));
    }

    void ThroughEditor(const Cell& cell) {
        Arm(cell, 1);
        m_panel.Show();
        m_panel.Select(0);
        const HWND editor = CPanel::Editor(L"Test effect");
        CHECK(editor != nullptr);
        RECT client{};
        ::GetClientRect(editor, &client);
        CHECK((client.right <= 4096 && client.bottom <= 4096));
        CHECK(m_panel.Remove().starts_with(L"Test effect=X"));
        CHECK(CPanel::Editor(L"Test effect") == nullptr);
        CHECK(TakeAway().empty());
    }

    // Leaves the instance without an effect and the error log empty; what was in it.
    std::wstring TakeAway() {
        m_panel.Begin(kFloat, CHost::SettingsFor(L"", GUID{}));
        std::wstring errors = m_panel.errors.Take();
        const std::wstring farewell = kConnect;
        REQUIRE(errors.ends_with(farewell));
        errors.resize(errors.size() - farewell.size());
        return errors;
    }

    static LONG WINAPI EndWithoutDebugger(EXCEPTION_POINTERS*) { return EXCEPTION_EXECUTE_HANDLER; }

    // Takes the instance lock and that of the logs.
    static DWORD WINAPI CallFromAnotherThread(void* self) {
        auto& cells = *static_cast<CCells*>(self);
        return cells.m_module.PassAudioBlock(cells.m_panel.instance, nullptr) +
               cells.m_module.Get(cells.m_panel.instance, L"IsLive", nullptr);
    }
    bool CallsFromAnotherThreadReturn() {
        const CKernelHandle thread(::CreateThread(nullptr, 0, CallFromAnotherThread, this, 0, nullptr));
        DWORD result = 0;
        ::WaitForSingleObject(thread.Get(), 5000);
        return ::GetExitCodeThread(thread.Get(), &result) && result == 1;
    }

    CModule m_module;
    CTestEffects m_effects;
    const CStoredList m_list{{CLSID_TestEffect, "Test effect"}};
    CPanel m_panel{m_module};
};

constexpr char kFirstCell[] = "DXW_FAULT_FIRST"; // environment of a child, and the name of the shared count
constexpr std::size_t kCellsOfAChild = 16;
constexpr DWORD kCellLimitMs = 8000;

/// Number of the cell under way, shared by parent and child.
class CSharedCount {
public:
    CSharedCount()
        : m_mapping(::CreateFileMappingA(
              INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LONG), kFirstCell)),
          m_count(static_cast<volatile LONG*>(::MapViewOfFile(m_mapping.Get(), FILE_MAP_WRITE, 0, 0, 0))) {}
    std::size_t Value() const { return static_cast<std::size_t>(*m_count); }
    void Start(const char* first) { ::InterlockedExchange(m_count, std::atoi(first)); }
    void Next() { ::InterlockedIncrement(m_count); }

private:
    CKernelHandle m_mapping;
    volatile LONG* m_count;
};

// Runs the next cells in a child; false when it had to be ended for a cell that takes too long.
bool RunChild(CSharedCount& under, DWORD* exitCode) {
    ::SetEnvironmentVariableA(kFirstCell, std::to_string(under.Value()).c_str());
    const CChildTest child("cells of the fault matrix");
    ::SetEnvironmentVariableA(kFirstCell, nullptr);
    std::size_t seen = 0;
    bool ended = false;
    do {
        seen = under.Value();
        ended = child.EndsWithin(kCellLimitMs);
    } while (!ended && seen != under.Value());
    *exitCode = child.Finish();
    return ended;
}

} // namespace

TEST_CASE("cells of the fault matrix" * doctest::skip(std::getenv(kFirstCell) == nullptr)) {
    const std::vector<Cell> cells = Cells();
    CSharedCount under;
    CCells run;
    under.Start(std::getenv(kFirstCell));
    bool sound = true; // nothing runs after a cell that may have broken the heap
    for (std::size_t n = 0; sound && n < kCellsOfAChild && under.Value() < cells.size(); ++n, under.Next()) {
        const Cell& cell = cells[under.Value()];
        run.Try(cell);
        sound = cell.phase != Phase::Undefined;
    }
}

TEST_CASE("a fault of the effect, wherever it hits, costs no more than what it hits") {
    const std::vector<Cell> cells = Cells();
    CSharedCount under;
    std::map<std::string, std::pair<int, int>> kinds; // tried, survived in process
    for (const Cell& cell : cells)
        ++kinds[cell.kind].first, ++kinds[cell.kind].second;
    while (under.Value() < cells.size()) {
        const std::size_t first = under.Value();
        DWORD exitCode = 0;
        const bool ended = RunChild(under, &exitCode);
        if (ended && exitCode <= 1 && under.Value() > first) { // doctest's own exit codes
            CHECK(exitCode == 0);
            continue;
        }
        const Cell& cell = cells[under.Value()];
        const std::string name = Name(cell);
        CAPTURE(name);
        CAPTURE(exitCode);
        CHECK((cell.phase == Phase::Ended || cell.phase == Phase::Undefined));
        MESSAGE("process ended: " << name << std::string(ended ? "" : ", over time"));
        --kinds[cell.kind].second;
        under.Next();
    }
    for (const auto& [kind, count] : kinds)
        MESSAGE(kind << ": " << count.first << " cells tried, " << count.second << " survived in process");
}
