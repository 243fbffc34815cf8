#include "effects/echo/guids.h"
#include "tests/effects/CTestEffects.h"
#include "tests/exports/CPanel.h"
#include "tests/exports/process_resources.h"

#include <doctest/doctest.h>
#include <objbase.h>

namespace {

constexpr int kCycles = 1000;

struct Growth {
    std::ptrdiff_t heapBytes;
    std::ptrdiff_t handles;
    std::ptrdiff_t windows;
};

// What `cycle` leaves behind, run kCycles times after ten to warm up.
template <typename Cycle>
Growth GrowthOf(Cycle&& cycle) {
    for (int i = 0; i < 10; ++i)
        cycle();
    const ProcessResources before = CountResources();
    for (int i = 0; i < kCycles; ++i)
        cycle();
    const ProcessResources after = CountResources();
    return {static_cast<std::ptrdiff_t>(after.heapBytes - before.heapBytes),
        static_cast<std::ptrdiff_t>(after.handles - before.handles),
        static_cast<std::ptrdiff_t>(after.windows - before.windows)};
}

// A graph of the platform's own, on a thread that starts and ends COM for it as the module does.
void GraphWithCom() {
    ::CoInitialize(nullptr);
    PlainGraph();
    ::CoUninitialize();
}

void CheckNoGrowth(const Growth& ours, const Growth& platform) {
    CAPTURE(platform.heapBytes);
    CAPTURE(platform.handles);
    CHECK(ours.heapBytes - platform.heapBytes < kCycles); // less than a byte a cycle
    CHECK(ours.handles - platform.handles < kCycles / 100);
    CHECK(ours.windows == platform.windows);
    MESSAGE("beyond the platform's own: " << ours.heapBytes - platform.heapBytes << " bytes, "
                                          << ours.handles - platform.handles << " handles");
}

// A built library under another name: the library itself stays loaded once an effect has faulted in another
// test of this process.
struct CCopiedLibrary {
    explicit CCopiedLibrary(const std::wstring& file) : name(L"again_" + file), path(ProgramFolder() + name) {
        ::CopyFileW((ProgramFolder() + L"..\\" + file).c_str(), path.c_str(), FALSE);
    }
    ~CCopiedLibrary() { ::DeleteFileW(path.c_str()); }
    CCopiedLibrary(const CCopiedLibrary&) = delete;
    CCopiedLibrary& operator=(const CCopiedLibrary&) = delete;

    const std::wstring name;
    const std::wstring path;
};

} // namespace

TEST_CASE("a thousand conversions leave no memory, handle or effect behind") {
    ::CoInitialize(nullptr); // as a host's thread: what COM itself keeps stays the same
    const Growth platform = GrowthOf(GraphWithCom);
    CModule module;
    CTestEffects effects;
    effects.Plan().delay = 600;
    const LONG leftByFaults = effects.Record().liveObjects; // of other tests
    {
        CHost host(module);
        const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
        const std::vector<std::uint8_t> data(4000, 0x11);
        const Growth ours = GrowthOf([&] {
            host.Begin(format, CLSID_TestEffect);
            host.Run(format, data, 300);
            module.EndConversion(host.instance, 0);
            module.AfterConversion(host.instance, 0);
        });
        CheckNoGrowth(ours, platform);
        CHECK_FALSE(host.failed);
        CHECK(effects.Record().liveObjects == leftByFaults + 2);
    }
    CHECK(effects.Record().liveObjects == leftByFaults);
    ::CoUninitialize();
}

TEST_CASE("a thousand instances, idle or connected, leave nothing behind") {
    ::CoInitialize(nullptr);
    const Growth platform = GrowthOf(GraphWithCom);
    CModule module;
    CTestEffects effects;
    const std::wstring settings = CHost::SettingsFor(L"T", CLSID_TestEffect);
    const LONG leftByFaults = effects.Record().liveObjects;
    CheckNoGrowth(GrowthOf([&] { module.Destroy(module.Create(nullptr)); }), {});
    CheckNoGrowth(GrowthOf([&] {
        void* const instance = module.Create(nullptr);
        module.ShowConfigBit(instance, nullptr, 0, 0, settings.c_str());
        module.RemoveConfigBit(instance, 0);
        module.Destroy(instance);
    }),
        platform);
    CHECK(effects.Record().liveObjects == leftByFaults);
    ::CoUninitialize();
}

TEST_CASE("the library loaded, used and unloaded a thousand times leaves nothing behind") {
    const CCopiedLibrary again(L"dxwrapper.dll");
    const CCopiedLibrary plain(L"echo.dll"); // whose loading shows what the platform keeps
    ::CoInitialize(nullptr);
    CTestEffects effects;
    RegisterEcho();
    const CStoredList list{{kEchoFilterClsid, "Echo"}, {CLSID_TestEffect, "Test effect"}};
    const LONG leftByFaults = effects.Record().liveObjects;
    const Growth platform = GrowthOf([&] {
        GraphWithCom();
        ::FreeLibrary(::LoadLibraryW(plain.path.c_str()));
    });
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    const std::vector<std::uint8_t> data(4000, 0x11);
    int cycle = 0;
    int failures = 0;
    const Growth ours = GrowthOf([&] {
        {
            CModule module(again.name);
            CPanel host(module);
            failures += ++cycle % 20 == 0 && host.Show() == nullptr;
            failures += host.Begin(format, cycle % 2 == 0 ? kEchoFilterClsid : CLSID_TestEffect) != 1;
            host.Run(format, data, 300);
            failures += host.failed;
        }
        failures += ::GetModuleHandleW(again.name.c_str()) != nullptr;
    });
    CheckNoGrowth(ours, platform);
    CHECK(failures == 0);
    CHECK(effects.Record().liveObjects == leftByFaults);
    ::CoUninitialize();
}
