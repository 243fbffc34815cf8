#pragma once

#include <windows.h>
#include <string>

// Ctrl+C, a console window that closes, logoff. A worker leaves them to the process that started it.

/// Call once, at the start. Until SuperviseInterruptions such an event ends the program with one line.
void WatchForInterruption();

/// From now on Ctrl+C is noted only, and who runs a worker sees to the rest (CChildProcess::Wait).
void SuperviseInterruptions();

/// Signalled at each event; resets itself.
HANDLE InterruptionEvent();

/// Whether Ctrl+C was pressed; in a worker, whether its starter says so.
bool IsCancelled();

/// Whether the user pressed it again or does not wait (the console closes): nothing is left to be asked.
bool IsCancelledAtOnce();

/// Throws CError with ExitCode::Cancelled after Ctrl+C. output: the name by which the user knows what is not
/// written now; may be empty.
void ThrowIfCancelled(const std::string& output);
