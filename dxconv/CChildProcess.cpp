#include "dxconv/CChildProcess.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"

#include <algorithm>
#include <new>
#include <string>

namespace {

constexpr DWORD kLongestEndMs = 5000;

[[noreturn]] void Fail(const char* what) {
    throw CError(ExitCode::Internal, "worker",
        std::string(what) + ": " + SystemErrorText() + "; close other programs to free memory");
}

// Without a job (old systems allow none inside another one's) the worker still ends with us in all cases but
// our own sudden death.
CKernelHandle MakeJob() {
    CKernelHandle job(::CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    ::SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

// The standard handles alone are wanted; whatever else is inheritable comes from who started us.
STARTUPINFOW InheritedStartup() {
    STARTUPINFOW startup{};
    STARTUPINFOW own{};
    own.cb = sizeof own;
    ::GetStartupInfoW(&own);
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | (own.dwFlags & STARTF_USESHOWWINDOW);
    startup.wShowWindow = own.wShowWindow;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    for (const HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        ::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return startup;
}

} // namespace

CChildProcess::CChildProcess() {
    *m_mapping.Put() =
        ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(WorkerPage), nullptr);
    void* const view = ::MapViewOfFile(m_mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, sizeof(WorkerPage));
    if (view == nullptr)
        Fail("no memory can be shared");
    m_page = ::new (view) WorkerPage;
}

CChildProcess::~CChildProcess() {
    End();
    ::UnmapViewOfFile(m_page);
}

void CChildProcess::Start() {
    m_job = MakeJob();
    STARTUPINFOW startup = InheritedStartup();
    std::wstring line = ::GetCommandLineW();
    const std::wstring handle = std::to_wstring(reinterpret_cast<ULONG_PTR>(m_mapping.Get()));
    PROCESS_INFORMATION started{};
    ::SetEnvironmentVariableW(kWorkerVariable, handle.c_str());
    // For this worker alone: another one's effect has no business with it.
    ::SetHandleInformation(m_mapping.Get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    // In a group of its own Ctrl+C does not reach the worker: until it had begun to listen that would end it.
    const BOOL created = ::CreateProcessW(OwnPath().c_str(), line.data(), nullptr, nullptr, TRUE,
        CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &started);
    const DWORD error = ::GetLastError();
    ::SetHandleInformation(m_mapping.Get(), HANDLE_FLAG_INHERIT, 0);
    ::SetEnvironmentVariableW(kWorkerVariable, nullptr);
    ::SetLastError(error);
    if (!created)
        Fail("it cannot be started");
    m_process.Reset(started.hProcess);
    const CKernelHandle thread(started.hThread);
    ::AssignProcessToJobObject(m_job.Get(), m_process.Get());
    m_lookedAt = ::GetTickCount();
    ::ResumeThread(thread.Get());
}

// Since the last look. A machine that slept meanwhile is no hang.
DWORD CChildProcess::ElapsedMs() {
    const DWORD now = ::GetTickCount();
    const DWORD elapsedMs = std::min(now - m_lookedAt, 2 * kPollMs);
    m_lookedAt = now;
    return elapsedMs;
}

std::uint64_t CChildProcess::InsideMs(DWORD elapsedMs) {
    CallWatch now{m_page->steps, m_page->verdict.step, m_page->verdict.leaving, m_page->use.step, 0};
    const bool inside = now.steps % 2 != 0;
    now.insideMs = m_watch.insideMs;
    now.insideMs = inside && now == m_watch ? now.insideMs + elapsedMs : 0;
    m_watch = now;
    return now.insideMs;
}

std::optional<ChildEnding> CChildProcess::Look(const ChildLimits& limits) {
    if (::WaitForSingleObject(m_process.Get(), 0) == WAIT_OBJECT_0)
        return ChildEnding::ByItself;
    const DWORD elapsedMs = ElapsedMs();
    if (IsCancelled()) {
        m_page->cancelled = 1;
        if (IsCancelledAtOnce() || m_cancelledMs >= limits.cancelGraceMs) {
            End();
            return ChildEnding::Cancelled;
        }
        m_cancelledMs += elapsedMs;
    }
    if (InsideMs(elapsedMs) >= std::uint64_t{limits.callSeconds} * 1000 && limits.callSeconds != 0) {
        End();
        return ChildEnding::TimedOut;
    }
    return std::nullopt;
}

ChildEnding CChildProcess::Wait(const ChildLimits& limits) {
    const HANDLE handles[] = {m_process.Get(), InterruptionEvent()};
    for (;;) {
        ::WaitForMultipleObjects(ARRAYSIZE(handles), handles, FALSE, kPollMs);
        if (const std::optional<ChildEnding> ending = Look(limits))
            return *ending;
    }
}

DWORD CChildProcess::ExitCode() const {
    DWORD code = 0;
    ::GetExitCodeProcess(m_process.Get(), &code);
    return code;
}

void CChildProcess::End() {
    if (!m_process)
        return;
    ::TerminateProcess(m_process.Get(), 1);
    ::WaitForSingleObject(m_process.Get(), kLongestEndMs); // its files are closed then
}
