#pragma once

#include <windows.h>

/// The DLL or program that this code is linked into: where its resources lie.
HINSTANCE ModuleHandle();

/// Takes a reference to the DLL that holds the code or data at `address`; null when none does. FreeLibrary
/// gives it back.
HMODULE HoldModuleOf(const void* address);

/// Keeps this DLL loaded until the process ends. For the case that foreign code may still hold our objects.
void PinModule();
