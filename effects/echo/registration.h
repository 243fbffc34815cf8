#pragma once

#include <windows.h>

/// Enters both classes under the class root and the filter among the system's audio filters: PCM audio in and
/// out, with a merit that only programs which ask for it find, so it never gets into a playback graph by
/// itself. What a failed registration has written is removed again. Needs the rights to write to the class
/// root.
HRESULT RegisterEcho();

/// Removes what RegisterEcho wrote. What is missing already is no failure.
HRESULT UnregisterEcho();
