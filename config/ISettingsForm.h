#pragma once

#include <windows.h>

/// What an instance needs of its settings panel. Thread: the host's window thread.
class ISettingsForm {
public:
    /// Takes the panel down without calling the instance, which is going as well.
    virtual ~ISettingsForm() = default;

    /// Makes the panel as a child of `parent`, its upper left corner at (x, y) in client pixels.
    /// Returns its window, or null.
    virtual HWND Create(HWND parent, int x, int y) = 0;
    /// Takes the editor and then the panel down; nothing happens without a panel.
    virtual void Close() = 0;
    /// The editor has closed: its button is released.
    virtual void UncheckEditorButton() = 0;
    /// The panel's window, or null.
    virtual HWND Window() const = 0;
};
