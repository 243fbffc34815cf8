#pragma once

#include "support/CCritSec.h"

#include <windows.h>

// Waiting without blocking those who send a message to one of this thread's windows: what keeps the thread of
// a form and the tooltip thread from waiting for each other. Only sent messages are answered; posted ones
// stay in the queue, so nothing the user does runs in the middle of the caller.

/// Waits for `handle` at most timeoutMs (INFINITE: for ever). True when it was signalled, false after the
/// time or when it cannot be waited for.
bool WaitAnswering(HANDLE handle, DWORD timeoutMs);

/// Lets `waitMs` milliseconds pass.
void SleepAnswering(DWORD waitMs);

/// Enters `section` by trying again and again. The caller leaves it.
void EnterAnswering(CCritSec& section);
