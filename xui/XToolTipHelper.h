#pragma once

#include <windows.h>

#include <vector>

class XButton;

/// Serves the toolkit buttons of a form: sees the form's messages first, lets the buttons draw themselves,
/// tells them of clicks, and follows the cursor with a timer on the form's window. Thread: the form's.
class XToolTipHelper {
public:
    XToolTipHelper() = default;
    ~XToolTipHelper() { Detach(); }
    XToolTipHelper(const XToolTipHelper&) = delete;
    XToolTipHelper& operator=(const XToolTipHelper&) = delete;

    void Attach(HWND form);
    /// Ends the tooltips of all registered buttons and forgets the buttons. Call it while the form's window
    /// is still there.
    void Detach();
    /// The button must have its control. It may go at any time afterwards.
    void Register(const XButton& button);

    /// For each message of the form. Sets *handled when it was for the helper alone; the result is then the
    /// message's.
    LRESULT OnMessage(HWND form, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled);

private:
    void PollCursor();

    HWND m_form = nullptr;
    std::vector<HWND> m_controls;
};
