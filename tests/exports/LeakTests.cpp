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
}

} // namespace

TEST_CASE("a thousand conversions leave no memory, handle or effect behind") {
    ::CoInitialize(nullptr); // as a host's thread: what COM itself keeps stays the same
    const Growth platform = GrowthOf(GraphWithCom);
    CModule module;
    CTestEffects effects;
    effects.Plan().delay = 600;
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
        CHECK(effects.Record().liveObjects == 2);
    }
    CHECK(effects.Record().liveObjects == 0);
    ::CoUninitialize();
}

TEST_CASE("the library loaded, used and unloaded a thousand times leaves nothing behind") {
    ::CoInitialize(nullptr);
    CTestEffects effects;
    RegisterEcho();
    const std::wstring plain =
        ProgramFolder() + L"..\\echo.dll"; // whose loading shows what the platform keeps
    const CStoredList list{{kEchoFilterClsid, "Echo"}, {CLSID_TestEffect, "Test effect"}};
    const Growth platform = GrowthOf([&] {
        GraphWithCom();
        ::FreeLibrary(::LoadLibraryW(plain.c_str()));
    });
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    const std::vector<std::uint8_t> data(4000, 0x11);
    int cycle = 0;
    int failures = 0;
    const Growth ours = GrowthOf([&] {
        {
            CModule module;
            CPanel host(module);
            failures += ++cycle % 20 == 0 && host.Show() == nullptr;
            failures += host.Begin(format, cycle % 2 == 0 ? kEchoFilterClsid : CLSID_TestEffect) != 1;
            host.Run(format, data, 300);
            failures += host.failed;
        }
        failures += ::GetModuleHandleW(L"dxwrapper.dll") != nullptr;
    });
    CheckNoGrowth(ours, platform);
    CHECK(failures == 0);
    CHECK(effects.Record().liveObjects == 0);
    ::CoUninitialize();
}
