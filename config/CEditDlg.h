#pragma once

#include "support/CForeignGuard.h"

#include <windows.h>

/// The small modeless window that an effect's property page is shown in. Makes, sizes, places and closes the
/// window; the page inside is somebody else's. Thread: the one that calls Create; Destroy may be
/// called on any.
class CEditDlg {
public:
    using OnClose = void (*)(void* argument);

    CEditDlg() = default;
    virtual ~CEditDlg();
    CEditDlg(const CEditDlg&) = delete;
    CEditDlg& operator=(const CEditDlg&) = delete;

    /// What happens when the user closes the window, or when it goes with its owner; null: it is destroyed.
    void SetOnClose(OnClose onClose, void* argument);

    /// Makes the window, owned by `parent` and centred on it, its client area exactly clientWidth by
    /// clientHeight pixels. title: ANSI code page, may be null. Returns null when there is a window already
    /// or none can be made.
    HWND Create(HWND parent, WORD templateId, int clientWidth, int clientHeight, const char* title);
    /// Destroys the window if it is still there and forgets it; a window of another thread destroys itself
    /// when that thread takes its messages. False when the page in it faulted on the way; *fault, if not
    /// null, says how.
    bool Destroy(ForeignFault* fault = nullptr);
    /// Hides and forgets the window without calling into the page in it: for a page that has faulted.
    void Abandon();

    HWND Window() const { return m_window; }

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void CloseByUser();

    HWND m_window = nullptr;
    OnClose m_onClose = nullptr;
    void* m_onCloseArgument = nullptr;
};
