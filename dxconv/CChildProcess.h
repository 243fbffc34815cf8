#pragma once

#include "dxconv/worker_page.h"
#include "support/handles.h"

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

    /// Waits until the worker has ended, and ends it when it exceeds a limit, at a second Ctrl+C and when the
    /// console goes. Hands Ctrl+C on through the page.
    ChildEnding Wait(const ChildLimits& limits);
    DWORD ExitCode() const;

private:
    class CCallWatch;

    void End();

    CKernelHandle m_mapping;
    WorkerPage* m_page = nullptr;
    CKernelHandle m_job;
    CKernelHandle m_process;
};
