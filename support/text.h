#pragma once

#include <string>

/// The text in UTF-16; `ansi` is in the system's ANSI code page, null counts as empty.
/// Throws std::bad_alloc only.
std::wstring AnsiToWide(const char* ansi);

/// The text in the system's ANSI code page; what it cannot hold becomes its default character.
/// Throws std::bad_alloc only.
std::string WideToAnsi(const wchar_t* wide);
