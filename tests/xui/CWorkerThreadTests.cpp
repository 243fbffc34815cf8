#include "xui/CWorkerThread.h"

#include <doctest/doctest.h>

#include <atomic>
#include <string>

namespace {

std::atomic<int> g_started{0};

void RunUntilStopped(const CWorkerThread& worker, void* argument) {
    g_started += *static_cast<int*>(argument);
    while (!worker.StopRequested())
        ::Sleep(1);
}

void NeverStop(const CWorkerThread&, void*) {
    for (;;)
        ::Sleep(1);
}

// What a thread that owns windows may do on its way out: ask a window of the thread that stops it.
void AskWhenStopped(const CWorkerThread& worker, void* window) {
    while (!worker.StopRequested())
        ::Sleep(1);
    if (::SendMessageTimeoutW(
            static_cast<HWND>(window), WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, 3000, nullptr) != 0)
        ++g_started;
}

int CountStopEvents(DWORD from, DWORD to) {
    int count = 0;
    for (DWORD tick = from; tick <= to; ++tick) {
        const std::wstring name = L"TRDEVTQ-" + std::to_wstring(static_cast<int>(tick));
        const CKernelHandle event(::OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
        count += event ? 1 : 0;
    }
    return count;
}

} // namespace

TEST_CASE("workers started in the same millisecond have events of their own and stop") {
    constexpr int kWorkers = 20;
    constexpr DWORD kSlackTicks = kWorkers + 100;
    int one = 1;
    g_started = 0;
    CWorkerThread workers[kWorkers];
    const DWORD start = ::GetTickCount();
    for (CWorkerThread& worker : workers)
        worker.Start(RunUntilStopped, &one, false, 0);
    const DWORD end = ::GetTickCount() + kSlackTicks;
    CHECK(CountStopEvents(start, end) == kWorkers);
    workers[0].Stop();
    CHECK(CountStopEvents(start, end) == kWorkers - 1);
    CHECK(workers[1].HasThread());
    for (CWorkerThread& worker : workers)
        worker.Stop();
    CHECK(CountStopEvents(start, end) == 0);
}

TEST_CASE("a worker that is held is let go by its stop") {
    int one = 1;
    g_started = 0;
    CWorkerThread worker;
    worker.Start(RunUntilStopped, &one, true, 0);
    CHECK(worker.IsSuspended());
    ::Sleep(50);
    CHECK(g_started == 0);
    worker.Stop();
    CHECK(g_started == 1);
    CHECK_FALSE(worker.HasThread());
    CHECK_FALSE(worker.IsSuspended());
}

TEST_CASE("a worker that does not stop is suspended after its time, not ended") {
    CWorkerThread worker;
    worker.Start(NeverStop, nullptr, false, 100);
    HANDLE thread = nullptr;
    ::DuplicateHandle(::GetCurrentProcess(), worker.Thread(), ::GetCurrentProcess(), &thread, 0, FALSE,
        DUPLICATE_SAME_ACCESS);
    const CKernelHandle closer(thread);
    const DWORD start = ::GetTickCount();
    worker.Stop();
    CHECK(::GetTickCount() - start >= 90);
    CHECK(worker.IsSuspended());
    CHECK_FALSE(worker.HasThread());
    CHECK(::WaitForSingleObject(thread, 0) == WAIT_TIMEOUT);
    CHECK(::ResumeThread(thread) == 1); // the count before
    ::TerminateThread(thread, 0);
}

TEST_CASE("stopping a worker answers what it asks of a window here") {
    g_started = 0;
    const HWND window =
        ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    CWorkerThread worker;
    worker.Start(AskWhenStopped, window, false, 0);
    worker.Stop();
    CHECK(g_started == 1);
    ::DestroyWindow(window);
}
