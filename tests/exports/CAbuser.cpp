#include "tests/exports/CAbuser.h"

#include "effects/echo/guids.h"
#include "tests/effects/CTestEffects.h"

#include <climits>
#include <iterator>

namespace {

// Calls of each export in a thousand. Panels cost most: they are rare.
constexpr struct {
    Export which;
    int share;
} kShares[] = {{Export::Create, 60}, {Export::Destroy, 24}, {Export::Set, 120}, {Export::Get, 120},
    {Export::Show, 5}, {Export::Remove, 11}, {Export::Begin, 50}, {Export::Pass, 400}, {Export::NonLive, 70},
    {Export::End, 70}, {Export::After, 70}};

constexpr GUID kUnknownEffect{0x1234, 2, 3, {4}};

BOOL CALLBACK AddWindow(HWND, LPARAM count) {
    ++*reinterpret_cast<std::size_t*>(count);
    return TRUE;
}

// Of this thread, and those of any thread inside `host`.
std::size_t CountWindows(HWND host) {
    std::size_t count = 0;
    ::EnumThreadWindows(::GetCurrentThreadId(), AddWindow, reinterpret_cast<LPARAM>(&count));
    ::EnumChildWindows(host, AddWindow, reinterpret_cast<LPARAM>(&count));
    return count;
}

} // namespace

const char* NameOf(Export which) {
    static constexpr const char* kNames[] = {"DSP_Create", "DSP_Destroy", "DSP_Set", "DSP_Get",
        "DSP_ShowConfigBit", "DSP_RemoveConfigBit", "DSP_BeginConversion", "DSP_PassAudioBlock",
        "DSP_PassNonLive", "DSP_EndConversion", "DSP_AfterConversion", "no call"};
    static_assert(std::size(kNames) == static_cast<std::size_t>(Export::Count) + 1);
    return kNames[static_cast<int>(which)];
}

CAbuser::CAbuser(AbuseState& state, int thread, std::uint32_t seed)
    : m_state(state), m_thread(thread), m_random(seed) {}

void CAbuser::Run(int calls) {
    HWND const host = ::CreateWindowExW(0, L"STATIC", L"abuser", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN,
        100 + 400 * m_thread, 100, 380, 300, nullptr, nullptr, nullptr, nullptr);
    const std::size_t windows = CountWindows(host);
    m_state.windows[static_cast<std::size_t>(m_thread)] = host;
    for (int i = 0; i < calls; ++i) {
        Call();
        TakeMessages();
    }
    ++m_state.threadsDone;
    while (m_state.threadsDone < AbuseState::kThreads) {
        TakeMessages();
        ::Sleep(1);
    }
    if (m_thread == 0) {
        for (AbuseState::Instance& instance : m_state.instances)
            m_state.module.Destroy(instance.dsp.exchange(nullptr));
        ++m_state.threadsDone;
    }
    // Panels that another thread has left to this one end when it takes their messages.
    const DWORD start = ::GetTickCount();
    while ((m_state.threadsDone <= AbuseState::kThreads || CountWindows(host) != windows) &&
           ::GetTickCount() - start < 5000) {
        TakeMessages();
        ::Sleep(1);
    }
    m_state.windowsLeft += static_cast<int>(CountWindows(host) - windows);
    m_state.windows[static_cast<std::size_t>(m_thread)] = nullptr;
    ::DestroyWindow(host);
}

void CAbuser::TakeMessages() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        ::DispatchMessageW(&message);
}

void CAbuser::Call() {
    const Export which = PickExport();
    const bool isPanels = which == Export::Show || which == Export::Remove || which == Export::Destroy;
    int number = PickInstance();
    // Panels are mostly, not always, the business of one thread of each instance.
    if (isPanels && number < 3 && number % 2 != m_thread && !m_random.Chance(15))
        number = 3 + m_thread;
    AbuseState::Instance& target = m_state.instances[static_cast<std::size_t>(number)];
    AbuseState::Doing& doing = m_state.doing[static_cast<std::size_t>(m_thread)];
    doing.sinceMs = ::GetTickCount();
    doing.instance = number;
    doing.which = which;
    CallWith(which, target);
    doing.which = Export::Count;
    ++m_state.callsDone;
}

void CAbuser::CallWith(Export which, AbuseState::Instance& target) {
    const bool changes = which == Export::Create || which == Export::Destroy;
    int users = 0;
    if (changes) {
        if (!target.users.compare_exchange_strong(users, -1))
            return;
        which == Export::Create ? Make(target) : End(target);
        target.users = 0;
        return;
    }
    while ((users = target.users) < 0 || !target.users.compare_exchange_weak(users, users + 1))
        TakeMessages(); // whoever ends an instance may need this thread's windows to answer
    void* const dsp = target.dsp;
    CModule& module = m_state.module;
    static const wchar_t kLive[] = L"IsLive";
    const DWORD done = dsp != nullptr ? 1 : 0;
    const auto word = static_cast<DWORD>(PickNumber());
    switch (which) {
    case Export::Set:
        Promise(which, module.Set(dsp, PickPointer(kLive), PickPointer(kLive)) == 0);
        break;
    case Export::Get: {
        const wchar_t* const key = PickPointer(kLive);
        Promise(which, module.Get(dsp, key, m_traps.NoAccess()) == (key == kLive ? done : 0));
        break;
    }
    case Export::Show:
        Show(dsp);
        break;
    case Export::Remove:
        Promise(which, (module.RemoveConfigBit(dsp, PickNumber()) != nullptr) == (dsp != nullptr));
        break;
    case Export::Begin:
        Begin(dsp);
        break;
    case Export::Pass:
        Pass(dsp);
        break;
    case Export::NonLive:
        Promise(which, module.PassNonLive(dsp, word, ~word, word, word) == done);
        break;
    case Export::End:
        Promise(which, module.EndConversion(dsp, word) == done);
        break;
    default:
        Promise(which, module.AfterConversion(dsp, word) == done);
        break;
    }
    --target.users;
}

void CAbuser::Make(AbuseState::Instance& target) {
    DSPHostContext context{nullptr, INVALID_HANDLE_VALUE, nullptr};
    if (m_random.Chance(50))
        context.hErrorLog = context.hTraceLog = reinterpret_cast<HANDLE>(UINT_PTR{0xDEADBEEC});
    if (target.dsp == nullptr) {
        target.dsp = m_state.module.Create(PickPointer(&context));
        Promise(Export::Create, target.dsp != nullptr);
    }
}

void CAbuser::End(AbuseState::Instance& target) {
    Promise(Export::Destroy, m_state.module.Destroy(target.dsp.exchange(nullptr)) == 1);
}

void CAbuser::Show(void* dsp) {
    bool connects = false;
    const wchar_t* const settings = PickSettings(&connects);
    if (connects && dsp != nullptr)
        ++m_state.graphs;
    const HWND panel = m_state.module.ShowConfigBit(dsp, PickWindow(), PickNumber(), PickNumber(), settings);
    Promise(Export::Show, dsp != nullptr || panel == nullptr);
}

void CAbuser::Begin(void* dsp) {
    bool connects = false;
    const wchar_t* const settings = PickSettings(&connects);
    if (connects && dsp != nullptr)
        ++m_state.graphs;
    const DSPConversionInfo info{{~0u, ~0u, ~0u}, PickFormat()};
    const DWORD begun = m_state.module.BeginConversion(dsp, PickPointer(&info), settings);
    Promise(Export::Begin, begun <= (dsp != nullptr ? 1u : 0u));
}

void CAbuser::Pass(void* dsp) {
    static constexpr INT32 kSizes[] = {0, 1, 7, 100, 2048, 8192, INT_MAX, -1, INT_MIN};
    DSPAudioBlock block{};
    std::memcpy(&block.wfx, PickFormat(), sizeof(WAVEFORMATEX));
    block.nBytes = kSizes[m_random.Below(static_cast<int>(std::size(kSizes)))];
    const SIZE_T bytes = block.nBytes > 0 && block.nBytes <= 8192 ? static_cast<SIZE_T>(block.nBytes) : 8192;
    block.pData = m_random.Chance(10)  ? PickPointer(m_traps.Usable())
                  : m_random.Chance(5) ? m_traps.ReadOnly()
                                       : m_traps.NoAccess() - bytes;
    block.bLastBlock = m_random.Chance(5) ? ~0u : 0u;
    const BYTE* const before = block.pData;
    DSPAudioBlock* const given = PickPointer(&block);
    const DWORD passed = m_state.module.PassAudioBlock(dsp, given);
    const bool untouched = block.bLastBlock != 0 || block.pData == before;
    Promise(Export::Pass, passed <= (dsp != nullptr ? 1u : 0u) && untouched);
}

void CAbuser::Promise(Export which, bool kept) {
    if (kept)
        return;
    ++m_state.wrongAnswers;
    m_state.wrongExport = which;
}

Export CAbuser::PickExport() {
    int left = m_random.Below(1000);
    for (const auto& row : kShares) {
        left -= row.share;
        if (left < 0)
            return row.which;
    }
    return Export::After;
}

int CAbuser::PickInstance() {
    return m_random.Chance(50) ? m_random.Below(3) : 3 + 2 * m_random.Below(2) + m_thread;
}

HWND CAbuser::PickWindow() {
    const auto own = static_cast<std::size_t>(m_thread);
    switch (m_random.Below(20)) {
    case 0:
        return nullptr;
    case 1:
        return reinterpret_cast<HWND>(UINT_PTR{0x7FFFFFFC});
    case 2:
        return ::GetDesktopWindow();
    case 3:
    case 4:
        return m_state.windows[1 - own];
    default:
        return m_state.windows[own];
    }
}

const wchar_t* CAbuser::PickSettings(bool* connects) {
    const std::vector<std::uint8_t> state(static_cast<std::size_t>(m_random.Below(100)), 0xC3);
    const GUID& usable = m_random.Chance(50) ? CLSID_TestEffect : kEchoFilterClsid;
    *connects = false;
    switch (m_random.Below(12)) {
    case 0:
        return nullptr;
    case 1:
        return reinterpret_cast<const wchar_t*>(m_traps.NoAccess());
    case 2: { // without its terminator, at the end of what can be read
        m_text = CHost::SettingsFor(L"Test", usable);
        const SIZE_T bytes = m_text.size() * sizeof(wchar_t);
        return reinterpret_cast<const wchar_t*>(m_traps.AtEnd(m_text.data(), bytes));
    }
    case 3:
        m_text.assign(static_cast<std::size_t>(m_random.Below(3000)), static_cast<wchar_t>(m_random.Next()));
        return m_text.c_str();
    case 4:
        m_text = CHost::SettingsFor(std::wstring(2000, L'n'), usable);
        return m_text.c_str();
    case 5:
        m_text = CHost::SettingsFor(L"Gone", m_random.Chance(50) ? kUnknownEffect : GUID{}, state);
        return m_text.c_str();
    case 6: // ends early
        m_text = CHost::SettingsFor(L"Short", usable);
        m_text.resize(static_cast<std::size_t>(m_random.Below(static_cast<int>(m_text.size()))));
        return m_text.c_str();
    case 7: // a state that is longer than what follows
        m_text = CHost::SettingsFor(L"Long", usable);
        m_text.back() = L'F';
        return m_text.c_str();
    default:
        *connects = true;
        m_text = CHost::SettingsFor(L"\u00C4"
                                    L"ffect",
            usable, state);
        return m_text.c_str();
    }
}

// Always of at least the head's length, often with nothing behind it.
const WAVEFORMATEX* CAbuser::PickFormat() {
    static constexpr WORD kTags[] = {WAVE_FORMAT_PCM, WAVE_FORMAT_IEEE_FLOAT, WAVE_FORMAT_EXTENSIBLE, 85};
    static constexpr WORD kBits[] = {8, 16, 24, 32, 0, 64};
    static constexpr DWORD kRates[] = {44100, 8000, 192000, 0, 1, UINT_MAX};
    WAVEFORMATEX format = CHost::Format(WAVE_FORMAT_PCM, 16, 2);
    if (m_random.Chance(60)) {
        format = CHost::Format(kTags[m_random.Below(4)], kBits[m_random.Below(6)],
            static_cast<WORD>(m_random.Chance(90) ? m_random.Below(8) : 500), kRates[m_random.Below(6)]);
        format.cbSize = static_cast<WORD>(m_random.Chance(50) ? m_random.Next() : 0);
        format.nAvgBytesPerSec = m_random.Next();
    }
    return reinterpret_cast<const WAVEFORMATEX*>(m_traps.AtEnd(&format, sizeof format));
}

template <typename T>
T* CAbuser::PickPointer(T* good) {
    switch (m_random.Below(20)) {
    case 0:
        return nullptr;
    case 1:
        return reinterpret_cast<T*>(m_traps.NoAccess());
    case 2:
        return reinterpret_cast<T*>(m_traps.NoAccess() - 2); // begins where it can be read
    case 3:
        return reinterpret_cast<T*>(UINT_PTR{0xFFFFFFF8});
    default:
        return good;
    }
}

int CAbuser::PickNumber() {
    static constexpr int kNumbers[] = {DSP_CODE_STORED_SETTINGS, 0, 1, -1, 13, INT_MAX, INT_MIN};
    return kNumbers[m_random.Below(static_cast<int>(std::size(kNumbers)))];
}
