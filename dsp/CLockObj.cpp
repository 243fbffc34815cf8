#include "dsp/CLockObj.h"

CLockObj::CLockObj(CLockObj* owner) : m_owner(owner) {
    if (m_owner != nullptr)
        m_owner->Lock();
}

CLockObj::~CLockObj() {
    if (m_owner != nullptr) {
        m_owner->Unlock();
        return;
    }
    Lock();
    if (m_mutex != nullptr)
        ::CloseHandle(m_mutex);
}

bool CLockObj::Create() {
    if (m_owner != nullptr)
        return false;
    if (m_mutex != nullptr) {
        Lock();
        ::CloseHandle(m_mutex);
    }
    m_mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
    return m_mutex != nullptr;
}

void CLockObj::Lock() {
    if (m_mutex != nullptr)
        ::WaitForSingleObject(m_mutex, INFINITE);
}

void CLockObj::Unlock() {
    if (m_mutex != nullptr)
        ::ReleaseMutex(m_mutex);
}
