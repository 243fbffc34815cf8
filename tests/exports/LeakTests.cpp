#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"
#include "tests/exports/process_resources.h"

#include <doctest/doctest.h>
#include <dshow.h>

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

// The platform's graph manager leaves something behind of its own: this is one without anything of ours.
void PlainGraph() {
    ::CoInitialize(nullptr);
    IGraphBuilder* builder = nullptr;
    ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
        reinterpret_cast<void**>(&builder));
    IMediaControl* control = nullptr;
    builder->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control));
    control->Pause();
    control->Run();
    control->Stop();
    control->Release();
    builder->Release();
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

} // namespace

TEST_CASE("a thousand conversions leave no memory, handle or effect behind") {
    ::CoInitialize(nullptr); // as a host's thread: what COM itself keeps stays the same
    const Growth platform = GrowthOf(PlainGraph);
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
    const Growth platform = GrowthOf(PlainGraph);
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
