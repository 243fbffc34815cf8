#pragma once

#include <string>

// What ends the program from outside its flow: Ctrl+C, a console window that closes, a crash in foreign code.
// Each removes the temporary output file and says so in one line. Ctrl+C first asks (ThrowIfCancelled); a
// second one, or a closing window, does not wait for an effect that hangs.

/// Call once, at the start. The handlers run on threads of the system or of the fault.
void WatchForInterruption();

/// The file to remove, and the name by which the user knows it; empty when there is none any more.
void RemoveOnInterruption(const std::wstring& temporaryPath, const std::string& name);

/// Whether Ctrl+C was pressed.
bool IsCancelled();

/// Throws CError with ExitCode::Cancelled after Ctrl+C.
void ThrowIfCancelled();
