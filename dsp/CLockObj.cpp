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
    if (m_mutex == nullptr || ::WaitForSingleObject(m_mutex, 0) != WAIT_TIMEOUT)
        return;
    while (::MsgWaitForMultipleObjectsEx(1, &m_mutex, INFINITE, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE) ==
           WAIT_OBJECT_0 + 1) {
        MSG message;
        ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}

void CLockObj::Unlock() {
    if (m_mutex != nullptr)
        ::ReleaseMutex(m_mutex);
}
