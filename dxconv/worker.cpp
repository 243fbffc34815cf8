#include "dxconv/worker.h"

#include "dxconv/CChildProcess.h"
#include "dxconv/standard_output.h"
#include "support/handles.h"

#include <csignal>
#include <cwchar>

namespace {

WorkerPage* g_page = nullptr; // stays mapped until the process ends

// The page alone tells: a message from here would need memory and locks that may be destroyed.
[[noreturn]] void EndCrashed(DWORD code, UINT exitCode) {
    g_page->crash = code;
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
    __builtin_unreachable();
}

// What uses the same C run-time ends here when it meets an exception that nobody catches.
void OnAbort(int) {
    EndCrashed(WorkerPage::kAborted, WorkerPage::kAborted);
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    EndCrashed(code, code);
}

BOOL WINAPI IgnoreConsoleEvent(DWORD) {
    return TRUE;
}

WorkerPage* MapPage(HANDLE mapping) {
    auto* const page =
        static_cast<WorkerPage*>(::MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(WorkerPage)));
    if (page == nullptr || page->magic == WorkerPage::kMagic)
        return page;
    ::UnmapViewOfFile(page);
    return nullptr;
}

} // namespace

bool BecomeWorker() {
    wchar_t text[16] = {};
    if (::GetEnvironmentVariableW(kWorkerVariable, text, ARRAYSIZE(text)) == 0)
        return false;
    ::SetEnvironmentVariableW(kWorkerVariable, nullptr); // processes that the effect starts are no workers
    const auto value = static_cast<ULONG_PTR>(std::wcstoul(text, nullptr, 10));
    g_page = MapPage(reinterpret_cast<HANDLE>(value));
    if (g_page == nullptr)
        return false; // a leftover of somebody else's
    const CKernelHandle mapping(reinterpret_cast<HANDLE>(value));
    KeepStandardOutput();
    ::SetUnhandledExceptionFilter(OnCrash);
    std::signal(SIGABRT, OnAbort);
    ::SetConsoleCtrlHandler(IgnoreConsoleEvent, TRUE);
    return true;
}

WorkerPage* OwnPage() {
    return g_page;
}

CInsideCall::CInsideCall(WorkerCall call) {
    if (g_page == nullptr)
        return;
    g_page->call = call;
    ++g_page->steps;
}

CInsideCall::~CInsideCall() {
    if (g_page != nullptr)
        ++g_page->steps;
}

void MarkProgress() {
    if (g_page != nullptr)
        g_page->steps += 2;
}

std::wstring PresetTemporary() {
    return g_page == nullptr ? L"" : g_page->temporary;
}

void MarkOutput(OutputState state, bool streamed) {
    if (g_page == nullptr)
        return;
    g_page->streamed = streamed ? 1 : 0;
    g_page->outputState = state;
}

void MarkFigures(const ConversionFigures& figures) {
    if (g_page != nullptr)
        g_page->figures = figures;
}

void MarkReason(std::string_view line) {
    if (g_page != nullptr)
        line.copy(g_page->reason, WorkerPage::kLongestReason - 1);
}

void MarkFinished(std::uint32_t exitCode) {
    if (g_page == nullptr)
        return;
    g_page->exitCode = exitCode;
    g_page->finished = 1;
    g_page->call = WorkerCall::Leave;
    g_page->steps |= 1; // for good: the effect's libraries may hang when they are unloaded
}
