#pragma once

#include "support/CCritSec.h"
#include "xui/CWorkerThread.h"

#include <windows.h>

#include <atomic>
#include <vector>

/// The thread of the process that shows and hides tooltips: polls each active one every 50 ms and owns their
/// popup windows. It runs while there is an active tooltip.
///
/// Locks: Lock() guards the list and the content of all tooltips; the thread only tries it. Callers on other
/// threads enter it with Enter, which answers sent messages, because the thread may be waiting for an answer
/// of the caller's window while it holds the lock.
class CToolTipThread {
public:
    /// Called on the thread with the lock held. Must not throw.
    using Poll = void (*)(void* toolTip, POINT cursor, DWORD nowMs);

    /// The one of the process. Made by the first tooltip, so it outlives them all.
    static CToolTipThread& Instance();

    CCritSec& Lock() { return m_lock; }
    void Enter();
    /// Both with the lock held. A tooltip is in the list once at most.
    void Add(void* toolTip, Poll poll);
    void Remove(const void* toolTip);
    /// Brings the thread in line with the list: without the lock, after each Add and Remove.
    void StartOrStop();
    /// Returns when no message that the thread had begun with is under way any more, after 5 s at most: what
    /// a popup did with one may go then. Without the lock, after Remove.
    void WaitForMessages();
    bool IsCurrentThread() const { return m_threadId == ::GetCurrentThreadId(); }

private:
    struct Entry {
        void* toolTip;
        Poll poll;
    };

    CToolTipThread() = default;
    static void Run(const CWorkerThread& worker, void* self);
    bool PollAll();
    void TakeMessages();
    bool IsWanted();
    bool IsRunning() const { return m_worker.HasThread() && !m_leaving; }

    CCritSec m_lock;
    CCritSec m_startLock; // starting and stopping; never taken on the thread itself
    bool m_changing = false;
    std::vector<Entry> m_active;
    std::atomic<bool> m_leaving{false}; // the thread found nothing to do and ends
    std::atomic<DWORD> m_threadId{0};
    std::atomic<bool> m_takesMessages{false};
    std::atomic<unsigned> m_passes{0};
    CWorkerThread m_worker;
};

/// The lock of all tooltips for a scope, entered without blocking those who send messages to this thread.
class CToolTipLock {
public:
    CToolTipLock() { CToolTipThread::Instance().Enter(); }
    ~CToolTipLock() { CToolTipThread::Instance().Lock().Unlock(); }
    CToolTipLock(const CToolTipLock&) = delete;
    CToolTipLock& operator=(const CToolTipLock&) = delete;
};
