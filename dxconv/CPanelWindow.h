#pragma once

#include <windows.h>

/// The host's window around a module's settings panel: caption, close box, as large as the panel. It is a
/// dialog, so Tab goes from control to control, and the one that had the focus gets it back with the window.
/// Thread: the one that made it. Errors: CError with ExitCode::Internal.
class CPanelWindow {
public:
    /// Shows the window, still empty, in the middle of the screen's work area.
    explicit CPanelWindow(const wchar_t* title);
    ~CPanelWindow() { ::DestroyWindow(m_window); }
    CPanelWindow(const CPanelWindow&) = delete;
    CPanelWindow& operator=(const CPanelWindow&) = delete;

    HWND Window() const { return m_window; }
    /// The space to leave on each side of the panel, in pixels.
    static int Margin();

    /// Sizes the window to the panel, which is its child, and gives the panel's first control the focus.
    void Fit(HWND panel);

    /// Takes messages until the user closes the window or presses Ctrl+C. Closing leaves the window as it is:
    /// the panel goes first.
    void RunUntilClosed();

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Centre(int width, int height);

    HWND m_window;
};
