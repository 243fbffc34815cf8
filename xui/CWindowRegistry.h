#pragma once

#include "support/CCritSec.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

class XWindow;

/// Which object belongs to which native window, for all windows of the process, in order of creation; and the
/// counter from which names of window classes are made. Threads: any; one lock guards both.
class CWindowRegistry {
public:
    /// The one of the process. Made by the first XWindow, so it outlives every XWindow, static ones too.
    static CWindowRegistry& Instance();

    void Add(XWindow* object);
    /// Removes the first occurrence of `object`, if any.
    void Remove(const XWindow* object);
    /// The first object whose living window is `window`; null when there is none.
    XWindow* Find(HWND window);
    /// Registers a class for `procedure` under a fresh name and returns the name; empty when that fails.
    std::wstring RegisterFreshClass(UINT classStyle, WNDPROC procedure);

private:
    CWindowRegistry() = default;

    CCritSec m_lock;
    std::vector<XWindow*> m_objects;
    std::uint32_t m_classCounter = 0;
};
