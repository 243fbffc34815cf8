// The exports under random calls with hostile arguments from two threads at once: nothing crashes, blocks for
// good or stays behind. DXW_ABUSE_SEED and DXW_ABUSE_CALLS in the environment set the seed and the number of
// calls.

#include "effects/echo/guids.h"
#include "tests/effects/CTestEffects.h"
#include "tests/exports/CPanel.h"
#include "tests/exports/process_resources.h"

#include <objbase.h>
#include <array>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

constexpr DWORD kStuckMs = 10'000;
constexpr GUID kUnknownEffect{0x1234, 2, 3, {4}};

enum class Export : int { Create, Destroy, Set, Get, Show, Remove, Begin, Pass, NonLive, End, After };

/// What the abusing threads share: the instances and what is watched of them.
struct AbuseState {
    static constexpr int kThreads = 2;
    struct Instance {
        std::atomic<void*> dsp{nullptr};
        std::atomic<int> users{0}; // calls under way; -1 while it is being made or destroyed
    };
    CModule& module;
    std::array<Instance, 7> instances{}; // 0 .. 2 shared, then two a thread
    std::array<std::atomic<HWND>, kThreads> windows{};
    std::array<std::atomic<Export>, kThreads> last{}; // that each thread called
    std::atomic<int> callsDone{0};                    // returned calls of all threads
    std::atomic<int> threadsDone{0};                  // that have made all their calls
    std::atomic<int> graphs{0};                       // that the calls have had built
    std::atomic<int> wrongAnswers{0};
    std::atomic<Export> wrongExport{};
    std::atomic<int> panelsLeft{0};
};

/// One thread of a host that does everything wrong but one thing: it uses no instance that it has destroyed.
/// It owns a window and takes its messages between calls.
class CAbuser {
public:
    CAbuser(AbuseState& state, int thread, std::uint32_t seed, int calls)
        : m_state(state), m_thread(thread), m_calls(calls), m_random(seed) {
        DWORD old = 0;
        ::VirtualProtect(NoAccess(), kPage, PAGE_NOACCESS, &old);
        ::VirtualProtect(ReadOnly(), kPage, PAGE_READONLY, &old);
    }
    ~CAbuser() { ::VirtualFree(m_pages, 0, MEM_RELEASE); }
    CAbuser(const CAbuser&) = delete;
    CAbuser& operator=(const CAbuser&) = delete;

    static DWORD WINAPI Thread(void* self) {
        auto& abuser = *static_cast<CAbuser*>(self);
        if (abuser.m_thread == 0)
            ::CoInitialize(nullptr); // the other thread is one without COM
        abuser.Run();
        if (abuser.m_thread == 0)
            ::CoUninitialize();
        return 0;
    }

private:
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kUsable = 16 * kPage;

    void Run();
    void Call();
    void Use(Export which, void* dsp);
    DWORD Begin(void* dsp);
    bool PassKeepsPromise(void* dsp);
    void Promise(Export which, bool kept) {
        if (!kept)
            ++m_state.wrongAnswers, m_state.wrongExport = which;
    }

    std::size_t Below(std::size_t limit) { return m_random() % limit; }
    bool Chance(std::size_t percent) { return Below(100) < percent; }
    template <typename T, std::size_t N>
    T Any(const T (&values)[N]) {
        return values[Below(N)];
    }
    template <typename T>
    T* PickPointer(T* good);
    HWND PickWindow();
    const wchar_t* PickSettings(void* dsp);
    const WAVEFORMATEX* PickFormat();
    int PickNumber() { return Any({DSP_CODE_STORED_SETTINGS, 0, 1, -1, 13, INT_MAX, INT_MIN}); }

    // Memory that a host should not hand over: usable bytes that end at a page nobody can touch, and a page
    // that can't be written.
    BYTE* NoAccess() const { return m_pages + kUsable; }
    BYTE* ReadOnly() const { return m_pages + kUsable + kPage; }
    void* AtEnd(const void* source, std::size_t bytes) const {
        return std::memcpy(NoAccess() - bytes, source, bytes);
    }

    AbuseState& m_state;
    const int m_thread;
    const int m_calls;
    std::mt19937 m_random;
    // Calls of each export in a thousand. Panels cost most: they are rare.
    std::discrete_distribution<> m_exports{60, 24, 120, 120, 5, 11, 50, 400, 70, 70, 70};
    std::wstring m_text; // the settings text of the present call
    BYTE* const m_pages = static_cast<BYTE*>(
        ::VirtualAlloc(nullptr, kUsable + 2 * kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
};

// The first thread ends all instances.
void CAbuser::Run() {
    HWND const host = ::CreateWindowExW(0, L"STATIC", L"abuser", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN,
        100 + 400 * m_thread, 100, 380, 300, nullptr, nullptr, nullptr, nullptr);
    std::atomic<HWND>& shared = m_state.windows[static_cast<std::size_t>(m_thread)];
    shared = host;
    for (int i = 0; i < m_calls; ++i, ++m_state.callsDone) {
        Call();
        TakeMessages();
    }
    for (++m_state.threadsDone; m_state.threadsDone < AbuseState::kThreads; ::Sleep(1))
        TakeMessages();
    if (m_thread == 0) {
        for (AbuseState::Instance& instance : m_state.instances)
            m_state.module.Destroy(instance.dsp.exchange(nullptr));
        ++m_state.threadsDone;
    }
    // Panels that another thread has left to this one end when it takes their messages.
    PumpUntil(
        [&] { return m_state.threadsDone > AbuseState::kThreads && ::GetWindow(host, GW_CHILD) == nullptr; });
    m_state.panelsLeft += ::GetWindow(host, GW_CHILD) != nullptr;
    shared = nullptr;
    ::DestroyWindow(host);
}

void CAbuser::Call() {
    const auto which = static_cast<Export>(m_exports(m_random));
    const auto own = static_cast<std::size_t>(m_thread);
    const bool isPanels = which == Export::Show || which == Export::Remove || which == Export::Destroy;
    std::size_t number = Chance(50) ? Below(3) : 3 + 2 * Below(2) + own;
    // Panels are mostly, not always, the business of one thread of each instance.
    if (isPanels && number < 3 && number % 2 != own && !Chance(15))
        number = 3 + own;
    AbuseState::Instance& target = m_state.instances[number];
    m_state.last[own] = which;
    int users = 0;
    if (which == Export::Create || which == Export::Destroy) {
        if (!target.users.compare_exchange_strong(users, -1))
            return;
        const HANDLE log = Chance(50) ? reinterpret_cast<HANDLE>(UINT_PTR{0xDEADBEEC}) : nullptr;
        const DSPHostContext context{log, INVALID_HANDLE_VALUE, log};
        if (which == Export::Destroy)
            Promise(which, m_state.module.Destroy(target.dsp.exchange(nullptr)) == 1);
        else if (target.dsp == nullptr)
            Promise(which, (target.dsp = m_state.module.Create(PickPointer(&context))) != nullptr);
        target.users = 0;
        return;
    }
    while ((users = target.users) < 0 || !target.users.compare_exchange_weak(users, users + 1))
        TakeMessages(); // whoever ends an instance may need this thread's windows to answer
    Use(which, target.dsp);
    --target.users;
}

void CAbuser::Use(Export which, void* dsp) {
    static const wchar_t kLive[] = L"IsLive";
    CModule& module = m_state.module;
    const DWORD done = dsp != nullptr ? 1 : 0;
    const auto word = static_cast<DWORD>(PickNumber());
    const wchar_t* const key = PickPointer(kLive);
    // clang-format off
    switch (which) {
    case Export::Set: return Promise(which, module.Set(dsp, key, PickPointer(kLive)) == 0);
    case Export::Get: return Promise(which, module.Get(dsp, key, NoAccess()) == (key == kLive ? done : 0));
    case Export::Show: {
        const wchar_t* const settings = PickSettings(dsp);
        const HWND panel = module.ShowConfigBit(dsp, PickWindow(), PickNumber(), PickNumber(), settings);
        return Promise(which, dsp != nullptr || panel == nullptr);
    }
    case Export::Remove: return Promise(which, (module.RemoveConfigBit(dsp, PickNumber()) != nullptr) == (dsp != nullptr));
    case Export::Begin: return Promise(which, Begin(dsp) <= done);
    case Export::Pass: return Promise(which, PassKeepsPromise(dsp));
    case Export::NonLive: return Promise(which, module.PassNonLive(dsp, word, ~word, word, word) == done);
    case Export::End: return Promise(which, module.EndConversion(dsp, word) == done);
    default: return Promise(which, module.AfterConversion(dsp, word) == done);
    }
    // clang-format on
}

DWORD CAbuser::Begin(void* dsp) {
    const wchar_t* const settings = PickSettings(dsp);
    const DSPConversionInfo info{{~0u, ~0u, ~0u}, PickFormat()};
    return m_state.module.BeginConversion(dsp, PickPointer(&info), settings);
}

bool CAbuser::PassKeepsPromise(void* dsp) {
    DSPAudioBlock block{};
    std::memcpy(&block.wfx, PickFormat(), sizeof(WAVEFORMATEX));
    block.nBytes = Any({0, 1, 7, 100, 2048, 8192, INT_MAX, -1, INT_MIN});
    const int bytes = block.nBytes > 0 && block.nBytes <= 8192 ? block.nBytes : 8192;
    BYTE* const memory = Chance(10) ? PickPointer(m_pages) : Chance(5) ? ReadOnly() : NoAccess() - bytes;
    block.pData = memory;
    block.bLastBlock = Chance(5) ? ~0u : 0u;
    const DWORD passed = m_state.module.PassAudioBlock(dsp, PickPointer(&block));
    return passed <= (dsp != nullptr ? 1u : 0u) && (block.bLastBlock != 0 || block.pData == memory);
}

template <typename T>
T* CAbuser::PickPointer(T* good) {
    T* const bad[] = {nullptr, reinterpret_cast<T*>(NoAccess()),
        reinterpret_cast<T*>(NoAccess() - 2), // begins where it can be read
        reinterpret_cast<T*>(UINT_PTR{0xFFFFFFF8})};
    return Chance(80) ? good : Any(bad);
}

HWND CAbuser::PickWindow() {
    const auto own = static_cast<std::size_t>(m_thread);
    const HWND bad[] = {nullptr, reinterpret_cast<HWND>(UINT_PTR{0x7FFFFFFC}), ::GetDesktopWindow()};
    return Chance(15) ? Any(bad) : m_state.windows[Chance(10) ? 1 - own : own].load();
}

// Counts the graph that a call with this text builds.
const wchar_t* CAbuser::PickSettings(void* dsp) {
    const GUID& usable = Chance(50) ? CLSID_TestEffect : kEchoFilterClsid;
    m_text = CHost::SettingsFor(L"\u00C4ffect", usable, std::vector<std::uint8_t>(Below(100), 0xC3));
    switch (Below(12)) {
    case 0:
        return nullptr;
    case 1:
        return reinterpret_cast<const wchar_t*>(NoAccess());
    case 2: // without its terminator, at the end of what can be read
        return static_cast<const wchar_t*>(AtEnd(m_text.data(), m_text.size() * sizeof(wchar_t)));
    case 3:
        m_text.assign(Below(3000), static_cast<wchar_t>(m_random()));
        break;
    case 4:
        m_text.insert(0, 2000, L'n');
        break;
    case 5:
        m_text = CHost::SettingsFor(L"Gone", Chance(50) ? kUnknownEffect : GUID{}, {1, 2, 3});
        break;
    case 6: // ends early
        m_text.resize(Below(m_text.size()));
        break;
    case 7: // a state that is longer than what follows
        m_text[m_text.find(L"=X") + 2 + 32 + 6] = L'F';
        break;
    default:
        m_state.graphs += dsp != nullptr;
    }
    return m_text.c_str();
}

// Always of at least the head's length, often with nothing behind it.
const WAVEFORMATEX* CAbuser::PickFormat() {
    WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    if (Chance(60)) {
        const WORD tag = Any<WORD>({WAVE_FORMAT_PCM, WAVE_FORMAT_IEEE_FLOAT, WAVE_FORMAT_EXTENSIBLE, 85});
        const auto channels = static_cast<WORD>(Chance(90) ? Below(8) : 500);
        format = CHost::Format(tag, Any<WORD>({8, 16, 24, 32, 0, 64}), channels,
            Any<DWORD>({44100, 8000, 192000, 0, 1, UINT_MAX}));
        format.cbSize = static_cast<WORD>(Chance(50) ? m_random() : 0);
        format.nAvgBytesPerSec = m_random();
    }
    return static_cast<const WAVEFORMATEX*>(AtEnd(&format, sizeof format));
}

std::uint32_t FromEnvironment(const char* name, std::uint32_t otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
}

// A call that does not return can't be ended, nor can the test then go on.
void Abuse(AbuseState& state, std::uint32_t seed, int calls) {
    CAbuser abusers[] = {{state, 0, seed, calls / 2}, {state, 1, ~seed, calls - calls / 2}};
    HANDLE threads[AbuseState::kThreads];
    for (int i = 0; i < AbuseState::kThreads; ++i)
        threads[i] = ::CreateThread(nullptr, 0, CAbuser::Thread, &abusers[i], 0, nullptr);
    int seen = -1;
    while (::WaitForMultipleObjects(AbuseState::kThreads, threads, TRUE, kStuckMs) == WAIT_TIMEOUT) {
        if (state.callsDone == seen) {
            std::printf("no call has returned for %lu ms, after %d calls; in exports %d and %d\n", kStuckMs,
                seen, static_cast<int>(state.last[0].load()), static_cast<int>(state.last[1].load()));
            std::fflush(stdout);
            ::TerminateProcess(::GetCurrentProcess(), 3);
        }
        seen = state.callsDone;
    }
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
    {
        AbuseState warmUp{module};
        Abuse(warmUp, seed + 1, calls / 10);
    }
    const GraphShare platform = MeasureGraphShare();
    const ProcessResources before = CountResources();
    AbuseState state{module};
    Abuse(state, seed, calls);
    const ProcessResources after = CountResources();

    CAPTURE(static_cast<int>(state.wrongExport.load()));
    CHECK(state.wrongAnswers.load() == 0);
    const int graphs = state.graphs;
    CAPTURE(graphs);
    CHECK(static_cast<double>(after.heapBytes) - static_cast<double>(before.heapBytes) -
              platform.heapBytes * graphs <
          1024);
    CHECK(
        static_cast<double>(after.handles) - static_cast<double>(before.handles) - platform.handles * graphs <
        5);
    CHECK(state.panelsLeft.load() == 0);
    CHECK(CPanel::Editor(L"Echo") == nullptr);
    CHECK(CPanel::Editor(L"Test effect") == nullptr);
    CHECK(effects.Record().liveObjects == 0);
    effects.Reset(); // of what the states have made of it
    CHECK(PassesSoundUnchanged(module));
    ::CoUninitialize();
}
