#pragma once

#include <windows.h>

class clDSP;

/// Text lines for the host's three log handles. Process-wide state: the indentation of trace lines, which all
/// instances build together, and whether the last trace call ended its line; both under one mutex.
/// Threads: any. Nothing throws; failed writes are ignored. `instance` may be null: nothing is written then.

/// Appends to the instance's trace stream: prefix (or, when null, the indentation), message, and with endLine
/// "  [function]" CR LF. A message that begins with "->->" indents what follows by two spaces, "<-<-" takes
/// them back. function: ANSI, may be null.
void Trace(
    const wchar_t* message, const clDSP* instance, const char* function, bool endLine, const wchar_t* prefix);

/// One line to the trace stream, marked "*** Error: ", and one to the error stream.
void LogError(const wchar_t* message, const clDSP* instance, const char* function);
/// The same with "*** Information: " and the information stream.
void LogInformation(const wchar_t* message, const clDSP* instance, const char* function);

/// Writes the text's UTF-16 units without terminator. Handles of 0 and all bits set take nothing.
void WriteText(HANDLE file, const wchar_t* text);

/// The lines "->->" and "<-<-" of one call of a host-called method.
void TraceEntry(const clDSP* instance, const char* function);
void TraceExit(const clDSP* instance, const char* function);
