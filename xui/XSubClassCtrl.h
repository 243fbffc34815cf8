#pragma once

#include <windows.h>

/// Sees the messages of a control first, by replacing its window procedure. The control's user data is in use
/// while attached. Thread: the control's. When the control goes it is detached.
class XSubClassCtrl {
public:
    XSubClassCtrl() = default;
    XSubClassCtrl(const XSubClassCtrl&) = delete;
    XSubClassCtrl& operator=(const XSubClassCtrl&) = delete;
    virtual ~XSubClassCtrl();
    /// Sets *handled to end the message's way; the result is then the message's.
    virtual LRESULT OnSubclassMessage(
        HWND control, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled);

    /// What was attached before is detached first. When it fails, the control is as it was (see Control).
    void Attach(HWND control);
    void Detach();
    HWND Control() const { return m_control; }
    /// The object attached to `control`; null when there is none.
    static XSubClassCtrl* Attached(HWND control);

protected:
    /// Of a WM_GETDLGCODE: is it about the return key?
    static bool AsksForReturn(LPARAM lParam);

private:
    static LRESULT CALLBACK SubclassProc(HWND control, UINT message, WPARAM wParam, LPARAM lParam);

    WNDPROC m_oldProc = nullptr;
    HWND m_control = nullptr;
};
