#pragma once

#include <windows.h>

/// The pictures on the settings panel's buttons, in the size that fits the screen's resolution. Loaded when
/// the library is loaded and destroyed when it is unloaded; null where they could not be.
struct FormIcons {
    HICON rescan = nullptr;
    HICON editor = nullptr;
};
extern FormIcons g_formIcons;

void LoadFormIcons(HINSTANCE module);
void DestroyFormIcons();
