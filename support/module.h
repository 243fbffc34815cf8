#pragma once

#include <windows.h>

/// The DLL or program that this code is linked into: where its resources lie.
HINSTANCE ModuleHandle();

/// Keeps this DLL loaded until the process ends. For the case that foreign code may still hold our objects.
void PinModule();
