#pragma once

#include "dxconv/worker_page.h"
#include "support/handles.h"

#include <optional>

/// The environment variable that makes a process a worker: the page's inherited handle, decimal.
inline constexpr wchar_t kWorkerVariable[] = L"DXCONV_WORKER";

enum class ChildEnding { ByItself, TimedOut, Cancelled };

struct ChildLimits {
    unsigned callSeconds = 0;   ///< longest time inside one call (CInsideCall); 0: none
    unsigned cancelGraceMs = 0; ///< how long it may take to end after Ctrl+C
};

/// This program once more, with the same arguments and standard handles, as the worker that runs the effect.
/// It ends with this object, and with this process however that ends. Errors: CError with ExitCode::Internal.
/// Thread: one.
class CChildProcess {
public:
    /// Makes the page; Start runs the worker.
    CChildProcess();
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    WorkerPage& Page() { return *m_page; }
    void Start();

    /// How the worker has ended, nothing while it runs. Ends it when it exceeds a limit, at a second Ctrl+C
    /// and when the console goes; hands Ctrl+C on through the page. Call at least every kPollMs.
    std::optional<ChildEnding> Look(const ChildLimits& limits);
    /// Looks until the worker has ended.
    ChildEnding Wait(const ChildLimits& limits);
    /// Signalled when the worker has ended.
    HANDLE Process() const { return m_process.Get(); }
    DWORD ExitCode() const;

    static constexpr DWORD kPollMs = 100;

private:
    // How long the worker has been inside the same step of the same call.
    struct CallWatch {
        std::uint32_t steps = 0;
        CandidateStep candidate = CandidateStep::Create;
        bool leaving = false;
        UseStep use = UseStep::None;
        std::uint64_t insideMs = 0;
        bool operator==(const CallWatch&) const = default;
    };

    DWORD ElapsedMs();
    std::uint64_t InsideMs(DWORD elapsedMs);
    void End();

    CKernelHandle m_mapping;
    WorkerPage* m_page = nullptr;
    CKernelHandle m_job;
    CKernelHandle m_process;
    CallWatch m_watch;
    DWORD m_lookedAt = 0; // tick
    std::uint64_t m_cancelledMs = 0;
};
