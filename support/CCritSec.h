#pragma once

#include <windows.h>

/// A recursive lock inside the process. Threads: any; the thread that entered it leaves it.
class CCritSec {
public:
    CCritSec() { ::InitializeCriticalSection(&m_section); }
    ~CCritSec() { ::DeleteCriticalSection(&m_section); }
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() { ::EnterCriticalSection(&m_section); }
    bool TryLock() { return ::TryEnterCriticalSection(&m_section) != FALSE; }
    void Unlock() { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

/// Holds a CCritSec for a scope. Never place one in a frame that a fault of foreign code jumps over
/// (see CForeignGuard): its destructor would not run.
class CAutoLock {
public:
    explicit CAutoLock(CCritSec& section) : m_section(section) { m_section.Lock(); }
    ~CAutoLock() { m_section.Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

private:
    CCritSec& m_section;
};
