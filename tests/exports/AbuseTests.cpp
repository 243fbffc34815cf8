// The exports under random calls with hostile arguments from two threads at once: nothing crashes, blocks for
// good or stays behind. DXW_ABUSE_SEED and DXW_ABUSE_CALLS in the environment set the seed and the number of
// calls.

#include "effects/echo/guids.h"
#include "tests/effects/CTestEffects.h"
#include "tests/exports/CAbuser.h"
#include "tests/exports/CPanel.h"
#include "tests/exports/process_resources.h"

#include <objbase.h>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr DWORD kStuckMs = 10'000;

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
}

struct Job {
    AbuseState& state;
    int thread;
    std::uint32_t seed;
    int calls;
};

DWORD WINAPI RunJob(void* argument) {
    const Job& job = *static_cast<const Job*>(argument);
    if (job.thread == 0)
        ::CoInitialize(nullptr); // the other thread is one without COM
    CAbuser(job.state, job.thread, job.seed).Run(job.calls);
    if (job.thread == 0)
        ::CoUninitialize();
    return 0;
}

// A call that does not return can't be ended, nor can the test then go on.
[[noreturn]] void DieStuck(const AbuseState& state) {
    std::printf("no call has returned for %lu ms, after %d calls\n", kStuckMs, state.callsDone.load());
    for (const AbuseState::Doing& doing : state.doing)
        std::printf("  a thread is in %s on instance %d for %lu ms\n", NameOf(doing.which),
            doing.instance.load(), ::GetTickCount() - doing.sinceMs);
    std::fflush(stdout);
    ::TerminateProcess(::GetCurrentProcess(), 3);
    std::abort();
}

// Waits for both threads, and watches that calls go on returning.
void Watch(const AbuseState& state, const HANDLE* threads) {
    int seen = -1;
    DWORD sinceMs = ::GetTickCount();
    while (::WaitForMultipleObjects(AbuseState::kThreads, threads, TRUE, 100) == WAIT_TIMEOUT) {
        if (state.callsDone != seen)
            sinceMs = ::GetTickCount();
        seen = state.callsDone;
        if (::GetTickCount() - sinceMs > kStuckMs)
            DieStuck(state);
    }
}

void Abuse(AbuseState& state, std::uint32_t seed, int calls) {
    Job jobs[] = {{state, 0, seed, calls / 2}, {state, 1, ~seed, calls - calls / 2}};
    HANDLE threads[AbuseState::kThreads];
    for (int i = 0; i < AbuseState::kThreads; ++i)
        threads[i] = ::CreateThread(nullptr, 0, RunJob, &jobs[i], 0, nullptr);
    Watch(state, threads);
    for (const HANDLE thread : threads)
        ::CloseHandle(thread);
}

bool PassesSoundUnchanged(CModule& module) {
    CHost host(module);
    const WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    const std::vector<std::uint8_t> sound(8000, 0x2A);
    return host.Begin(format, CLSID_TestEffect) == 1 && host.Run(format, sound, 700) == sound;
}

} // namespace

TEST_CASE("random calls with hostile arguments from two threads crash, block and keep nothing") {
    const std::uint32_t seed = FromEnvironment("DXW_ABUSE_SEED", ::GetTickCount());
    const int calls = static_cast<int>(FromEnvironment("DXW_ABUSE_CALLS", 100'000));
    std::printf("abuse: DXW_ABUSE_SEED=%u DXW_ABUSE_CALLS=%d\n", seed, calls);
    std::fflush(stdout);
    ::CoInitialize(nullptr);
    CTestEffects effects;
    RegisterEcho();
    const CStoredList list{{kEchoFilterClsid, "Echo"}, {CLSID_TestEffect, "Test effect"}};
    CModule module;
    const LONG leftByFaults = effects.Record().liveObjects; // of other tests
    {
        AbuseState warmUp(module);
        Abuse(warmUp, seed + 1, calls / 10);
    }
    const GraphShare platform = MeasureGraphShare();
    const ProcessResources before = CountResources();
    AbuseState state(module);
    Abuse(state, seed, calls);
    const ProcessResources after = CountResources();

    const int graphs = state.graphs;
    const auto bytes = static_cast<double>(after.heapBytes) - static_cast<double>(before.heapBytes);
    const auto handles = static_cast<double>(after.handles) - static_cast<double>(before.handles);
    MESSAGE(state.callsDone.load() << " calls, " << graphs << " graphs; " << bytes << " bytes and " << handles
                                   << " handles more, of these the platform's own "
                                   << platform.heapBytes * graphs << " and " << platform.handles * graphs);
    CHECK(state.callsDone.load() == calls);
    const std::string wrong = NameOf(state.wrongExport);
    CAPTURE(wrong);
    CHECK(state.wrongAnswers.load() == 0);
    CHECK(bytes - platform.heapBytes * graphs < 1024);
    CHECK(handles - platform.handles * graphs < 5);
    CHECK(state.windowsLeft.load() == 0);
    CHECK(after.windows == before.windows);
    CHECK(effects.Record().liveObjects == leftByFaults);
    effects.Reset(); // of what the states have made of it
    CHECK(PassesSoundUnchanged(module));
    ::CoUninitialize();
}
