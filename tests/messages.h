#pragma once

#include <windows.h>

/// Handles what waits for this thread's windows; `dialog`: whose keyboard interface to use.
inline void TakeMessages(HWND dialog = nullptr) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (dialog != nullptr && ::IsDialogMessageW(dialog, &message))
            continue;
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

/// Takes messages until `done` or for 20 s at most. Returns what `done` says.
template <typename Done>
bool PumpUntil(Done done, HWND dialog = nullptr, DWORD timeoutMs = 20'000) {
    const DWORD start = ::GetTickCount();
    for (; !done() && ::GetTickCount() - start < timeoutMs; ::Sleep(1))
        TakeMessages(dialog);
    return done();
}
