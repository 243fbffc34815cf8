#include "tests/xui/stage.h"

#include "xui/CToolTipThread.h"

#include <atomic>

namespace {

std::atomic<LONG> g_cursor{0}; // MAKELONG(x, y)
std::atomic<bool> g_clockStands{false};
std::atomic<DWORD> g_clockMs{0};
std::atomic<int> g_passes{0};

bool IsToolTipThread() {
    return CToolTipThread::Instance().IsCurrentThread();
}

BOOL WINAPI GiveCursor(POINT* point) {
    const LONG cursor = g_cursor;
    *point = {static_cast<short>(LOWORD(cursor)), static_cast<short>(HIWORD(cursor))};
    return TRUE;
}

DWORD WINAPI GiveTime() {
    const bool stands = g_clockStands && IsToolTipThread();
    return stands ? g_clockMs.load() : static_cast<DWORD>(::GetTickCount64());
}

// The tooltip thread rests at the end of each pass and nowhere else.
void WINAPI GiveRest(DWORD ms) {
    const bool endsPass = IsToolTipThread();
    g_passes += endsPass ? 1 : 0;
    ::SleepEx(endsPass ? 1 : ms, FALSE);
}

} // namespace

// The linker takes these for the pointers through which all of the program calls the system.
extern "C" {
decltype(&::GetCursorPos) g_importOfGetCursorPos __asm__("__imp__GetCursorPos@4") = GiveCursor;
decltype(&::GetTickCount) g_importOfGetTickCount __asm__("__imp__GetTickCount@0") = GiveTime;
decltype(&::Sleep) g_importOfSleep __asm__("__imp__Sleep@4") = GiveRest;
}

void PutCursor(POINT point) {
    g_cursor = MAKELONG(point.x, point.y);
}

bool PassAt(DWORD nowMs) {
    g_clockMs = nowMs;
    g_clockStands = true;
    const int before = g_passes; // the pass under way may have begun before the changes
    return PumpUntil([before] { return g_passes - before >= 2; });
}

void RunClock() {
    g_clockStands = false;
}
