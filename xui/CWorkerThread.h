#pragma once

#include "support/handles.h"

#include <windows.h>

/// One thread that is asked to end through a named event. Threads: Start and Stop one at a time;
/// StopRequested on the thread itself. While the thread runs, this module stays loaded.
class CWorkerThread {
public:
    using Routine = void (*)(const CWorkerThread& worker, void* argument);

    CWorkerThread() = default;
    ~CWorkerThread() { Stop(); }
    CWorkerThread(const CWorkerThread&) = delete;
    CWorkerThread& operator=(const CWorkerThread&) = delete;

    /// Runs `routine`, which polls StopRequested, on a new thread; a running one is stopped first.
    /// stopTimeoutMs: how long Stop waits, 0 for ever. Without a thread afterwards (HasThread) it failed.
    void Start(Routine routine, void* argument, bool startSuspended, DWORD stopTimeoutMs);
    /// Asks the thread to end and waits, answering messages that other threads send. A thread that does not
    /// end in time is suspended for good, never terminated. On the thread itself: asks only.
    void Stop();
    bool StopRequested() const;

    bool HasThread() const { return static_cast<bool>(m_thread); }
    HANDLE Thread() const { return m_thread.Get(); }
    bool IsCurrentThread() const { return HasThread() && m_threadId == ::GetCurrentThreadId(); }
    /// True while the thread is held: not yet begun, or given up by Stop.
    bool IsSuspended() const { return m_suspended; }

    /// For debuggers; does nothing where the system has no names for threads.
    static void NameCurrentThread(const wchar_t* name);

private:
    static DWORD WINAPI Entry(void* worker);
    void CreateStopEvent();

    CKernelHandle m_stopEvent;
    bool m_nameTaken = false; // of the last name tried
    CKernelHandle m_thread;
    DWORD m_stopTimeoutMs = 0;
    bool m_suspended = false;
    DWORD m_threadId = 0;
    Routine m_routine = nullptr;
    void* m_argument = nullptr;
    HMODULE m_module = nullptr; // held for the thread, which lets it go at its end
};
