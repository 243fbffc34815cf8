#include "xui/CWorkerThread.h"

#include "support/CFloatModes.h"
#include "support/module.h"
#include "xui/answer_sent.h"

#include <string>

namespace {

constexpr int kMaxNameTries = 1000;

using SetThreadDescriptionFunction = HRESULT(WINAPI*)(HANDLE, PCWSTR);

} // namespace

void CWorkerThread::CreateStopEvent() {
    for (int tries = 0; tries < kMaxNameTries; ++tries) {
        const auto tick = static_cast<int>(::GetTickCount() + static_cast<DWORD>(tries));
        const std::wstring name = L"TRDEVTQ-" + std::to_wstring(tick);
        m_stopEvent.Reset(::CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
        m_nameTaken = m_stopEvent && ::GetLastError() == ERROR_ALREADY_EXISTS;
        if (m_stopEvent && !m_nameTaken)
            return;
    }
    m_stopEvent.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

void CWorkerThread::Start(Routine routine, void* argument, bool startSuspended, DWORD stopTimeoutMs) {
    if (IsCurrentThread())
        return;
    Stop();
    CreateStopEvent();
    m_routine = routine;
    m_argument = argument;
    m_stopTimeoutMs = stopTimeoutMs;
    m_suspended = startSuspended;
    m_module = HoldModuleOf(reinterpret_cast<const void*>(&Entry));
    m_thread.Reset(
        ::CreateThread(nullptr, 0, Entry, this, startSuspended ? CREATE_SUSPENDED : 0, &m_threadId));
    if (m_thread)
        return;
    m_suspended = false;
    m_stopEvent.Reset();
    ::FreeLibrary(m_module);
}

void CWorkerThread::Stop() {
    if (!m_thread)
        return;
    ::SetEvent(m_stopEvent.Get());
    if (IsCurrentThread())
        return;
    if (m_suspended)
        ::ResumeThread(m_thread.Get());
    m_suspended = false;
    if (!WaitAnswering(m_thread.Get(), m_stopTimeoutMs == 0 ? INFINITE : m_stopTimeoutMs)) {
        ::SuspendThread(m_thread.Get());
        m_suspended = true;
    }
    m_thread.Reset();
    m_stopEvent.Reset();
}

bool CWorkerThread::StopRequested() const {
    return m_stopEvent && ::WaitForSingleObject(m_stopEvent.Get(), 0) == WAIT_OBJECT_0;
}

DWORD WINAPI CWorkerThread::Entry(void* worker) {
    HMODULE module = nullptr;
    {
        const CFloatModes modes;
        const auto* const self = static_cast<const CWorkerThread*>(worker);
        module = self->m_module;
        try {
            self->m_routine(*self, self->m_argument);
        } catch (...) { // the thread ends, the process goes on
        }
    }
    // From here on the worker may be gone, and with this call the code.
    ::FreeLibraryAndExitThread(module, 0);
}

void CWorkerThread::NameCurrentThread(const wchar_t* name) {
    for (const wchar_t* const library : {L"KernelBase.dll", L"kernel32.dll"}) {
        const HMODULE module = ::GetModuleHandleW(library);
        const FARPROC found = module != nullptr ? ::GetProcAddress(module, "SetThreadDescription") : nullptr;
        if (found == nullptr)
            continue;
        const auto setDescription =
            reinterpret_cast<SetThreadDescriptionFunction>(reinterpret_cast<void*>(found));
        setDescription(::GetCurrentThread(), name);
        return;
    }
}
