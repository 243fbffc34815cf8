#include "xui/CWorkerThread.h"

#include <doctest/doctest.h>

#include <atomic>
#include <string>

namespace {

std::atomic<int> g_ended{0};

// A thread that owns windows may ask a window of the thread that stops it on its way out.
void RunUntilStopped(const CWorkerThread& worker, void* window) {
    while (!worker.StopRequested())
        ::Sleep(1);
    const auto asked = static_cast<HWND>(window);
    g_ended += ::SendMessageTimeoutW(asked, WM_GETTEXTLENGTH, 0, 0, SMTO_NORMAL, 10000, nullptr) != 0;
}

void NeverStop(const CWorkerThread&, void*) {
    for (;;)
        ::Sleep(1);
}

int CountStopEvents(DWORD from, DWORD to) {
    int count = 0;
    for (DWORD tick = from; tick != to; ++tick) {
        const std::wstring name = L"TRDEVTQ-" + std::to_wstring(static_cast<int>(tick));
        const CKernelHandle event(::OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
        count += event ? 1 : 0;
    }
    return count;
}

} // namespace

TEST_CASE("workers started in the same millisecond have events of their own and stop one by one, "
          "answered in what they ask of a window here") {
    g_ended = 0;
    const HWND window =
        ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    CWorkerThread workers[20];
    const DWORD start = ::GetTickCount();
    for (CWorkerThread& worker : workers)
        worker.Start(RunUntilStopped, window, &worker == &workers[1], 0);
    const DWORD end = ::GetTickCount() + 20; // names run ahead of the time
    CHECK(CountStopEvents(start, end) == 20);
    workers[0].Stop();
    CHECK(g_ended == 1);
    CHECK(CountStopEvents(start, end) == 19);
    CHECK(workers[1].IsSuspended()); // held from the start: its stop lets it go
    for (CWorkerThread& worker : workers) {
        worker.Stop();
        CHECK_FALSE(worker.HasThread());
        CHECK_FALSE(worker.IsSuspended());
    }
    CHECK(g_ended == 20);
    CHECK(CountStopEvents(start, end) == 0);
    ::DestroyWindow(window);
}

TEST_CASE("a worker that does not stop is suspended after its time, not ended") {
    CWorkerThread worker;
    worker.Start(NeverStop, nullptr, false, 50);
    HANDLE thread = nullptr;
    const HANDLE process = ::GetCurrentProcess();
    ::DuplicateHandle(process, worker.Thread(), process, &thread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    const CKernelHandle closer(thread);
    worker.Stop();
    CHECK(worker.IsSuspended());
    CHECK_FALSE(worker.HasThread());
    CHECK(::WaitForSingleObject(thread, 0) == WAIT_TIMEOUT);
    CHECK(::ResumeThread(thread) == 1); // the count before
    ::TerminateThread(thread, 0);
}
