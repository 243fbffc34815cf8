#include "xui/XWindow.h"

#include <algorithm>

UINT XWindow::AddTimer(UINT intervalMs, std::uint32_t userValue, UINT id) {
    if (m_window == nullptr)
        return 0;
    const CAutoLock lock(m_timerLock);
    if (id == 0) {
        for (const Timer& timer : m_timers)
            id = std::max(id, timer.id);
        ++id;
    }
    m_timers.reserve(m_timers.size() + 1); // before the timer runs: nothing may fail after that
    m_timerFlags.reserve(m_timerFlags.size() + 1);
    const UINT_PTR started = ::SetTimer(m_window, id, intervalMs, nullptr);
    if (started == 0)
        return 0;
    m_timers.push_back({static_cast<UINT>(started), userValue});
    m_timerFlags.push_back(0);
    return static_cast<UINT>(started);
}

void XWindow::RemoveTimer(UINT id) {
    const CAutoLock lock(m_timerLock);
    const auto found =
        std::find_if(m_timers.begin(), m_timers.end(), [id](const Timer& timer) { return timer.id == id; });
    if (found == m_timers.end())
        return;
    ::KillTimer(m_window, id);
    m_timerFlags.erase(m_timerFlags.begin() + (found - m_timers.begin()));
    m_timers.erase(found);
}

void XWindow::ForgetTimers() {
    const CAutoLock lock(m_timerLock);
    for (const Timer& timer : m_timers) {
        if (!m_nativeGone && m_window != nullptr)
            ::KillTimer(m_window, timer.id);
    }
    m_timers.clear();
    m_timerFlags.clear();
}
