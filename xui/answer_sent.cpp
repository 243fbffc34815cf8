#include "xui/answer_sent.h"

namespace {

constexpr DWORD kTryAgainMs = 5;

void AnswerSent() {
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
}

// WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
DWORD Wait(const HANDLE* handles, DWORD count, DWORD timeoutMs) {
    const DWORD start = ::GetTickCount();
    for (;;) {
        AnswerSent();
        const DWORD elapsed = ::GetTickCount() - start;
        if (timeoutMs != INFINITE && elapsed >= timeoutMs)
            return count != 0 ? ::WaitForSingleObject(*handles, 0) : WAIT_TIMEOUT;
        const DWORD left = timeoutMs == INFINITE ? INFINITE : timeoutMs - elapsed;
        const DWORD woken =
            ::MsgWaitForMultipleObjectsEx(count, handles, left, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
        if (woken != WAIT_OBJECT_0 + count && woken != WAIT_TIMEOUT)
            return woken;
    }
}

} // namespace

bool WaitAnswering(HANDLE handle, DWORD timeoutMs) {
    // Asked first by itself: a process that ends has no messages to answer, but its threads have ended.
    return ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0 || Wait(&handle, 1, timeoutMs) == WAIT_OBJECT_0;
}

void SleepAnswering(DWORD waitMs) {
    Wait(nullptr, 0, waitMs);
}

void EnterAnswering(CCritSec& section) {
    while (!section.TryLock())
        SleepAnswering(kTryAgainMs);
}
