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

} // namespace

TEST_CASE("the library loaded, used and unloaded a thousand times leaves nothing behind") {
    ::CoInitialize(nullptr);
    CTestEffects effects;
    RegisterEcho();
    const std::wstring plain =
        ProgramFolder() + L"..\\echo.dll"; // whose loading shows what the platform keeps
    const CStoredList list{{kEchoFilterClsid, "Echo"}, {CLSID_TestEffect, "Test effect"}};
    const Growth platform = GrowthOf([&] {
        ::CoInitialize(nullptr); // as the module does for its graph
        PlainGraph();
        ::CoUninitialize();
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
            module.EndConversion(host.instance, 0);
            module.AfterConversion(host.instance, 0);
        }
        failures += ::GetModuleHandleW(L"dxwrapper.dll") != nullptr;
    });
    CAPTURE(platform.heapBytes);
    CAPTURE(platform.handles);
    CHECK(ours.heapBytes - platform.heapBytes < kCycles); // less than a byte a cycle
    CHECK(ours.handles - platform.handles < kCycles / 100);
    CHECK(ours.windows == platform.windows);
    CHECK(failures == 0);
    CHECK(effects.Record().liveObjects == 0);
    ::CoUninitialize();
}
