#pragma once

#include "config/CStructArray.h"
#include "dsp/CLockObj.h"

#include <windows.h>

/// The usable effects, shared by all instances in the process, in the scanner's order (names ascending).
/// Empty when the library is loaded. Whoever reads or changes it holds PlugInListLock.
extern CStructArray PlugInList;
/// Without a mutex until the first settings form is made.
extern CLockObj PlugInListLock;

/// Fills PlugInList from the store; runs ScanAndStorePlugInList when nothing usable is stored.
/// form: the settings form's window, or null. Thread: the form's.
void LoadPlugInList(HWND form);

/// Shows the scanner, owned by the form's parent, lets it rebuild PlugInList, and stores the list whatever
/// button ended it. Does nothing while a scan is under way on the same thread. Takes the lock. Thread: the
/// form's.
void ScanAndStorePlugInList(HWND form);
