#include "xui/CToolTipThread.h"

#include "xui/answer_sent.h"

#include <algorithm>

namespace {

constexpr DWORD kPassMs = 50;
constexpr int kMaxChanges = 4;
constexpr DWORD kMaxWaitMs = 5000;

} // namespace

CToolTipThread& CToolTipThread::Instance() {
    static CToolTipThread instance;
    return instance;
}

void CToolTipThread::Enter() {
    EnterAnswering(m_lock);
}

void CToolTipThread::Add(void* toolTip, Poll poll) {
    Remove(toolTip);
    m_active.push_back({toolTip, poll});
}

void CToolTipThread::Remove(const void* toolTip) {
    std::erase_if(m_active, [toolTip](const Entry& entry) { return entry.toolTip == toolTip; });
}

bool CToolTipThread::IsWanted() {
    const CToolTipLock lock;
    return !m_active.empty();
}

// A sent message that is answered in here may activate or deactivate another tooltip: the loop sees to it.
void CToolTipThread::StartOrStop() {
    if (IsCurrentThread())
        return; // it cannot wait for itself: the routine sees the empty list and ends
    EnterAnswering(m_startLock);
    if (!m_changing) {
        m_changing = true;
        for (int changes = 0; changes < kMaxChanges; ++changes) {
            const bool wanted = IsWanted();
            if (wanted ? IsRunning() : !m_worker.HasThread())
                break;
            m_worker.Stop();
            m_leaving = false;
            if (wanted)
                m_worker.Start(Run, this, false, 0);
        }
        m_changing = false;
    }
    m_startLock.Unlock();
}

void CToolTipThread::Run(const CWorkerThread& worker, void* self) {
    auto* const thread = static_cast<CToolTipThread*>(self);
    CWorkerThread::NameCurrentThread(L"ThreadToolTip");
    thread->m_threadId = ::GetCurrentThreadId();
    while (!worker.StopRequested()) {
        if (!thread->PollAll())
            break;
        ::Sleep(kPassMs);
        thread->TakeMessages();
    }
    thread->TakeMessages(); // of popups that end themselves
    thread->m_threadId = 0;
}

void CToolTipThread::TakeMessages() {
    MSG message;
    m_takesMessages = true;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
    m_takesMessages = false;
    ++m_passes;
}

void CToolTipThread::WaitForMessages() {
    const unsigned passes = m_passes;
    const DWORD start = ::GetTickCount();
    while (
        !IsCurrentThread() && m_takesMessages && m_passes == passes && ::GetTickCount() - start < kMaxWaitMs)
        SleepAnswering(1);
}

// False: there is nothing to poll any more. A busy lock skips the pass.
bool CToolTipThread::PollAll() {
    POINT cursor{};
    ::GetCursorPos(&cursor);
    if (!m_lock.TryLock())
        return true;
    for (std::size_t i = 0; i < m_active.size(); ++i)
        m_active[i].poll(m_active[i].toolTip, cursor, ::GetTickCount());
    m_leaving = m_active.empty();
    m_lock.Unlock();
    return !m_leaving;
}
