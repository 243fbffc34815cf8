#include "dxconv/interruption.h"

#include "dxconv/CError.h"
#include "dxconv/text.h"
#include "dxconv/worker.h"

#include <atomic>

namespace {

constexpr char kCancelled[] = "cancelled; run it again";

std::atomic<bool> g_supervised = false;
std::atomic<unsigned> g_events = 0;
std::atomic<bool> g_atOnce = false;

// Runs on a thread of the system's.
BOOL WINAPI OnConsoleEvent(DWORD event) {
    if (!g_supervised) {
        PrintErrorLine(std::string("end of run: ") + kCancelled);
        ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(ExitCode::Cancelled));
    }
    const bool asked = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (++g_events > 1 || !asked)
        g_atOnce = true;
    ::SetEvent(InterruptionEvent());
    if (!asked)
        ::Sleep(INFINITE); // the system would end the process at once; the main thread does, when it is done
    return TRUE;
}

} // namespace

void WatchForInterruption() {
    InterruptionEvent(); // is there before the handler wants it
    ::SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

void SuperviseInterruptions() {
    g_supervised = true;
}

HANDLE InterruptionEvent() {
    static const HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr); // outlives the handler
    return event;
}

bool IsCancelled() {
    const WorkerPage* const page = OwnPage();
    return page != nullptr ? page->cancelled != 0 : g_events != 0;
}

bool IsCancelledAtOnce() {
    return g_atOnce;
}

void ThrowIfCancelled(const std::string& output) {
    if (!IsCancelled())
        return;
    throw output.empty()
        ? CError(ExitCode::Cancelled, "end of run", kCancelled)
        : CError(ExitCode::Cancelled, output, std::string("nothing was written: ") + kCancelled);
}
