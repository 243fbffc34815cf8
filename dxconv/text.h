#pragma once

#include <windows.h>
#include <string>
#include <string_view>

// Text inside this program is UTF-8; the system's calls take UTF-16.

std::wstring Wide(std::string_view utf8);
std::string Utf8(std::wstring_view wide);

/// The system's words for an error, in one line, without the final full stop.
std::string SystemErrorText(DWORD error = ::GetLastError());

/// Writes to a standard handle (STD_OUTPUT_HANDLE, STD_ERROR_HANDLE): UTF-16 to a console, else UTF-8 bytes.
/// False when not all of it could be written.
bool Print(DWORD standardHandle, std::string_view utf8);

/// Prints "dxconv: LINE" to the error handle, as one line whatever the text holds.
void PrintErrorLine(std::string line);

/// Whether the standard handle is a console that somebody watches.
bool IsConsole(DWORD standardHandle);
