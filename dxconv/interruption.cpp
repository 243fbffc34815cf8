#include "dxconv/interruption.h"

#include "dxconv/CError.h"
#include "dxconv/text.h"
#include "support/CCritSec.h"

#include <atomic>
#include <csignal>
#include <cstdio>

namespace {

struct Temporary {
    CCritSec section;
    std::wstring path;
    std::string name;
};

Temporary& OpenTemporary() {
    static auto& temporary = *new Temporary; // outlives the handlers
    return temporary;
}

constexpr char kAgain[] = "run it again";

std::atomic<bool> g_cancelled = false;

[[noreturn]] void EndAtOnce(ExitCode code, const std::string& what, const std::string& advice) {
    Temporary& temporary = OpenTemporary();
    {
        const CAutoLock lock(temporary.section);
        const bool unfinished = ::DeleteFileW(temporary.path.c_str()) != FALSE;
        PrintErrorLine((unfinished ? temporary.name + ": nothing was written: " : "end of run: ") + what +
                       "; " + advice);
    }
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(code));
    __builtin_unreachable();
}

BOOL WINAPI OnConsoleEvent(DWORD event) {
    const bool asked = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (g_cancelled.exchange(true) || !asked)
        EndAtOnce(ExitCode::Cancelled, "cancelled", kAgain);
    return TRUE;
}

[[noreturn]] void EndCrashed(const char* how) {
    EndAtOnce(ExitCode::Conversion, std::string("the module or the effect crashed (") + how + ")",
        "try another effect or other settings");
}

// What uses the same C run-time ends here when it meets an exception that nobody catches.
void OnAbort(int) {
    EndCrashed("abort");
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* exception) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lX", exception->ExceptionRecord->ExceptionCode);
    EndCrashed(code);
}

} // namespace

void WatchForInterruption() {
    OpenTemporary();
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    ::SetUnhandledExceptionFilter(OnCrash);
    std::signal(SIGABRT, OnAbort);
    ::SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

void RemoveOnInterruption(const std::wstring& temporaryPath, const std::string& name) {
    Temporary& temporary = OpenTemporary();
    const CAutoLock lock(temporary.section);
    temporary.path = temporaryPath;
    temporary.name = name;
}

bool IsCancelled() {
    return g_cancelled;
}

void ThrowIfCancelled() {
    if (!IsCancelled())
        return;
    const std::string& name = OpenTemporary().name;
    throw CError(ExitCode::Cancelled, name.empty() ? "end of run" : name,
        (name.empty() ? "" : "nothing was written: ") + std::string("cancelled; ") + kAgain);
}
