#pragma once

#include <windows.h>

/// A standard handle as this program uses it.
HANDLE StandardHandle(DWORD which);

/// Keeps the standard output for StandardHandle alone. What else in this process writes to it, an effect say,
/// writes to the error output from now on.
void KeepStandardOutput();
