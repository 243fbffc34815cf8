#pragma once

#include "xui/XToolTip.h"

#include <windows.h>

/// Runs the messages of this thread until `done` or for at most timeoutMs. Returns what `done` says.
template <typename Done>
bool PumpUntil(Done done, DWORD timeoutMs = 5000) {
    const DWORD start = ::GetTickCount();
    while (!done() && ::GetTickCount() - start < timeoutMs) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        ::Sleep(1);
    }
    return done();
}

inline void PumpFor(DWORD ms) {
    PumpUntil([] { return false; }, ms);
}

/// A visible window in the middle of the screen to hang controls and tooltips on.
class CForm : public XWindow {
public:
    CForm() : XWindow(L"form", 200, 200, 500, 400, WS_POPUP | WS_VISIBLE, 0, nullptr, 0, nullptr, nullptr) {}
};

constexpr POINT kOnForm{350, 300};
constexpr POINT kOffForm{20, 20};

inline void PutCursor(POINT point) {
    ::SetCursorPos(point.x, point.y);
}
