#pragma once

#include <windows.h>
#include <array>
#include <cstdint>

/// The effect that tests shape: one class with one page class in test_effects.dll. What it is and where it
/// breaks is read from a plan that the test program shares with the DLL in its own process.

// {5B0B1B52-3C0E-4C53-9C2B-6C1E1D1A7F10} and ...11
inline constexpr GUID CLSID_TestEffect = {
    0x5B0B1B52, 0x3C0E, 0x4C53, {0x9C, 0x2B, 0x6C, 0x1E, 0x1D, 0x1A, 0x7F, 0x10}};
inline constexpr GUID CLSID_TestPage = {
    0x5B0B1B52, 0x3C0E, 0x4C53, {0x9C, 0x2B, 0x6C, 0x1E, 0x1D, 0x1A, 0x7F, 0x11}};

/// Each call that enters the effect, its pins, its samples or its page. PageWindow: WM_DESTROY to its window.
/// In the order in which a conversion and an editor come to them.
// clang-format off
#define TEST_EFFECT_PLACES(X)                                                                               \
    X(None)                                                                                                 \
    X(GetClassObject)                                                                                       \
    X(CreateEffect) X(QueryBaseFilter) X(AddRefEffect) X(QueryPages) X(GetPages) X(CreatePage) X(QueryPage) \
        X(SetPageSite) X(SetObjects) X(GetPageInfo) X(JoinGraph) X(SetSyncSource) X(EnumPins) X(NextPin)    \
            X(ReleasePinEnum) X(InputPinInfo) X(OutputPinInfo) X(InputDirection) X(OutputDirection)         \
                X(InputConnectedTo) X(OutputConnectedTo) X(QueryMemInput) X(ReceiveConnection)              \
                    X(InputRequirements) X(InputGetAllocator) X(NotifyAllocator) X(OutputConnect) X(Pause)  \
                        X(Run) X(QueryPersist) X(Load) X(Receive) X(ReceiveAfterDelivery) X(SampleAddRef)   \
                            X(SampleRelease) X(SampleLength) X(SampleSize) X(SamplePointer) X(Save)         \
                                X(Activate) X(Show) X(PageWindow) X(Deactivate) X(Stop) X(InputDisconnect)  \
                                    X(OutputDisconnect) X(LeaveGraph) X(LastPageRelease)                    \
                                        X(LastEffectRelease)
// clang-format on
#define TEST_EFFECT_PLACE(name) name,
enum class Place : int { TEST_EFFECT_PLACES(TEST_EFFECT_PLACE) Count };
#undef TEST_EFFECT_PLACE

enum class Fault : int {
    None,
    Fail, ///< returns E_FAIL
    ReadViolation,
    WriteViolation,
    ExecuteViolation,
    IntegerDivide,
    IllegalInstruction,
    Breakpoint,
    FloatDivide,
    ForeignThrow, ///< what another compiler's C++ exception raises
    StackOverflow,
    CallBack, ///< calls the plan's callback, as an effect does that takes the thread's messages
    // From the planned call on, at each:
    Patch,    ///< writes the plan's patch into what the call gives out
    Keep,     ///< takes a reference to what the call was given and never gives it back
    Overdrop, ///< gives back a reference to what the call was given that it never took
    // The process does not live on:
    Exit,
    Terminate,
    Abort,
    LoseStack,
    DestroyHeap,
    OtherThread, ///< a fault on a thread of the effect's own
    Hang
};

enum class Frames : int { Same, Fewer, None };

struct TestEffectPlan {
    bool inPlace = false;      ///< takes the downstream pin's allocator and passes samples through
    bool reconnects = false;   ///< asks the graph to reconnect its input when its output connects
    bool ownAllocator = false; ///< copies into samples of an allocator of its own
    bool monoOutput = false;   ///< its output refuses stereo
    bool changesType = false;  ///< offers its output with other cbSize and lSampleSize
    bool ownSamples = false;   ///< wraps what it delivers into samples of its own
    ULONG pages = 1;           ///< property pages reported
    SIZE pageSize{120, 80};    ///< pixels
    float gain = 1.0f;         ///< of the effect; the state blob
    float offset = 0;          ///< added to every output sample: unless 0, the effect never falls silent
    std::uint32_t delay = 0;   ///< frames that the output comes later
    Frames frames = Frames::Same;
    std::uint32_t oddBlock = 0; ///< first block (from 0) that `frames` holds for
    Place place = Place::None;
    Fault fault = Fault::None;
    int nth = 1;                   ///< which call at `place`
    std::uint32_t patchOffset = 0; ///< bytes into what is given out
    std::uint32_t patchValue = 0;
    void (*callback)(void*) = nullptr;
    void* callbackArgument = nullptr;
};

struct TestEffectBlock {
    std::int64_t start; ///< 100 ns units
    std::uint32_t frames;
    bool hasEnd;
    bool discontinuity;
};

struct TestEffectRecord {
    std::array<int, static_cast<std::size_t>(Place::Count)> calls{};
    LONG liveObjects = 0; ///< filters, pages and factories
    std::uint32_t blocks = 0;
    std::array<TestEffectBlock, 64> lastBlocks{}; ///< block n at n % 64
    HWND pageWindow = nullptr;
};

struct TestEffectState {
    TestEffectPlan plan;
    TestEffectRecord record;
};

using TestEffectStateFn = TestEffectState*(__cdecl*)();
