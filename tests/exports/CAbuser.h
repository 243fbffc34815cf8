#pragma once

#include "tests/exports/CHost.h"
#include "tests/exports/host_traps.h"

#include <array>
#include <atomic>
#include <string>

enum class Export : int { Create, Destroy, Set, Get, Show, Remove, Begin, Pass, NonLive, End, After, Count };
const char* NameOf(Export which);

/// What the abusing threads share: the instances and what is watched of them.
struct AbuseState {
    static constexpr int kThreads = 2;
    static constexpr int kInstances = 7; // 0 .. 2 shared, then two a thread

    struct Instance {
        std::atomic<void*> dsp{nullptr};
        std::atomic<int> users{0}; ///< calls under way; -1 while it is being made or destroyed
    };
    struct Doing {
        std::atomic<Export> which{Export::Count}; ///< Count: between calls
        std::atomic<int> instance{0};
        std::atomic<DWORD> sinceMs{0};
    };

    explicit AbuseState(CModule& toAbuse) : module(toAbuse) {}

    CModule& module;
    std::array<Instance, kInstances> instances;
    std::array<Doing, kThreads> doing;
    std::array<std::atomic<HWND>, kThreads> windows{};
    std::atomic<int> callsDone{0};   ///< returned calls of all threads
    std::atomic<int> threadsDone{0}; ///< that have made all their calls
    std::atomic<int> graphs{0};      ///< filter graphs that the calls have had built
    std::atomic<int> wrongAnswers{0};
    std::atomic<Export> wrongExport{Export::Count}; ///< the last one that answered otherwise than promised
    std::atomic<int> windowsLeft{0};
};

/// One thread of a host that does everything wrong but one thing: it uses no instance that it has destroyed.
/// It owns a window and takes its messages between calls.
class CAbuser {
public:
    CAbuser(AbuseState& state, int thread, std::uint32_t seed);
    /// Makes `calls` random calls; then the first thread ends all instances, and each its window.
    void Run(int calls);

private:
    void Call();
    void CallWith(Export which, AbuseState::Instance& target);
    void Make(AbuseState::Instance& target);
    void End(AbuseState::Instance& target);
    void Show(void* dsp);
    void Begin(void* dsp);
    void Pass(void* dsp);
    void Promise(Export which, bool kept);
    void TakeMessages();

    Export PickExport();
    int PickInstance();
    HWND PickWindow();
    /// connects: a call that gets this text builds a graph.
    const wchar_t* PickSettings(bool* connects);
    const WAVEFORMATEX* PickFormat();
    template <typename T>
    T* PickPointer(T* good);
    int PickNumber();

    AbuseState& m_state;
    const int m_thread;
    CRandom m_random;
    CHostTraps m_traps;
    std::wstring m_text; // the settings text of the present call
};
