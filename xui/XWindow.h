#pragma once

#include "support/CCritSec.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

/// One native window or dialog as an object: owns it, gives each kind of message to one virtual operation,
/// and keeps the window's timers. Derive, override what is needed.
///
/// Windows and window classes belong to the module of the process's executable, whichever module this is
/// linked into. Lengths are pixels, points are (x, y) in client coordinates where nothing else is said.
/// Threads: a window belongs to the thread that made it and its operations run there. Destroying the object
/// on another thread leaves the native window to end itself there, without a call to the object. An operation
/// may destroy the object. Without a window every call does nothing and returns 0 or empty. No call reports
/// an error in another way than by its result.
class XWindow {
public:
    /// For MoveTo: leave this one as it is.
    static constexpr int kKeep = -12345;

    XWindow();
    /// As the default constructor followed by CreateNativeWindow.
    XWindow(const wchar_t* title, int left, int top, int right, int bottom, DWORD style, DWORD exStyle,
        HWND parent, UINT classStyle, const wchar_t* className, HMENU menuOrId);
    XWindow(const XWindow&) = delete;
    XWindow& operator=(const XWindow&) = delete;

    // The operations, in their fixed order. Each finds m_handled set; one that clears it lets the system's
    // own processing follow.
    virtual ~XWindow();
    virtual void OnActivate(HWND other, bool minimised, UINT state);
    virtual void OnClose();
    virtual void OnContextMenu(HWND window, int x, int y);
    /// Runs for every WM_COMMAND, those that an OnId operation has seen included.
    virtual void OnCommand(UINT id, HWND control, UINT code);
    virtual void OnCreate();
    virtual void OnDestroy();
    virtual void OnDeactivate(HWND other, bool minimised);
    virtual void OnDrawItem(HWND control, UINT id, const DRAWITEMSTRUCT* item);
    virtual void OnEraseBackground(HDC dc);
    virtual void OnHide(LPARAM status);
    virtual void OnKeyDown(WPARAM key, LPARAM flags);
    virtual void OnKeyUp(WPARAM key, LPARAM flags);
    virtual void OnChar(WPARAM character);
    virtual void OnMouseDown(int x, int y, UINT message, WPARAM keys);
    virtual void OnMouseDoubleClick(int x, int y, UINT message, WPARAM keys);
    virtual void OnMouseUp(int x, int y, UINT message, WPARAM keys);
    virtual void OnMouseMove(int x, int y, WPARAM keys);
    /// x, y: screen. delta: negative towards the user.
    virtual void OnMouseWheel(int x, int y, int delta, UINT keys);
    virtual void OnMove(int x, int y);
    virtual LRESULT OnNotify(NMHDR* notification);
    virtual void OnPaint(); ///< the system's own processing follows in any case
    virtual void OnShow(LPARAM status);
    virtual void OnSize(int width, int height, WPARAM type);
    virtual void OnSysCommand(WPARAM command); ///< the system's own processing follows in any case
    /// Runs with the lock of the timers held; may add and remove timers.
    virtual void OnTimer(UINT id, std::uint32_t userValue);
    virtual HBRUSH OnCtlColorStatic();
    virtual HBRUSH OnCtlColorDialog();
    /// Sees every message before all others; sets *handled to end its way, the result is then the message's.
    virtual LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled);
    virtual void OnIdOk();
    virtual void OnIdCancel();
    virtual void OnIdAbort();
    virtual void OnIdClose();
    virtual void OnIdHelp();
    virtual void OnIdIgnore();
    virtual void OnIdNo();
    virtual void OnIdRetry();
    virtual void OnIdYes();

    /// Makes a plain window; one that exists is destroyed first. className null: a class of its own, with
    /// `classStyle`. The rectangle is that of the whole window, in the coordinates that CreateWindowEx wants.
    void CreateNativeWindow(const wchar_t* title, int left, int top, int right, int bottom, DWORD style,
        DWORD exStyle, HWND parent, UINT classStyle, const wchar_t* className, HMENU menuOrId);
    /// Makes a dialog from a template; module null: the executable's. Modeless: 1 or 0. Modal: what EndModal
    /// is given, -1 when there is no such template.
    INT_PTR CreateFromTemplate(WORD templateId, HWND parent, BOOL modal, HMODULE module);
    void EndModal(INT_PTR result);
    void DestroyNativeWindow();

    HWND Window() const { return m_window; }
    bool IsDialog() const { return m_isDialog != FALSE; }
    /// True when `window` is this object's and has not gone.
    bool Owns(HWND window) const { return m_window == window && !m_nativeGone; }

    void MoveTo(int left, int top, int width, int height);
    void MoveTo(const RECT& rect);
    void CentreOnDesktop();
    void CentreOver(HWND other);
    RECT GetClientRect() const;
    POINT ClientToScreen(POINT point) const;
    RECT ClientToScreen(RECT rect) const;
    int GetHeight() const;
    void Enable();
    void Disable();
    bool IsEnabled() const;
    bool IsVisible() const;
    bool IsMaximised() const;
    bool IsMinimised() const;
    bool IsWindowAlive() const;
    void Hide();
    void Maximise();
    void Minimise();
    HWND GetItem(int id) const;
    void Post(UINT message, WPARAM wParam, LPARAM lParam);
    void SuspendRedraw();
    void ResumeRedraw(bool repaint);
    /// Makes a private copy of `cursor` the window class's.
    void SetCursorImage(HCURSOR cursor);
    /// id: IDC_ARROW and its like.
    void SetStockCursor(LPCWSTR id);

    /// Starts a timer and returns its id, 0 on failure. id 0: one more than the largest in use.
    UINT AddTimer(UINT intervalMs, std::uint32_t userValue, UINT id = 0);
    void RemoveTimer(UINT id);

    /// From pixels at 96 dpi to the screen's, towards zero. The resolution is read once per process.
    static int ScaleForDpi(int value);
    static int ScaleForDpi(int value, int dpi);
    int DialogUnitsToPixelsX(int dialogUnits) const;
    int DialogUnitsToPixelsY(int dialogUnits) const;
    static int DialogUnitsToPixelsX(HWND dialog, int dialogUnits);
    static int DialogUnitsToPixelsY(HWND dialog, int dialogUnits);
    /// From a length measured at 96 dpi with the standard dialog font (6 by 13 pixels) to this dialog's
    /// pixels.
    int DesignToDialogX(int value) const;
    int DesignToDialogY(int value) const;
    static int DesignToDialogX(HWND dialog, int value);
    static int DesignToDialogY(HWND dialog, int value);

protected:
    BOOL m_handled = FALSE;

private:
    struct Timer {
        UINT id;
        std::uint32_t userValue;
    };
    class CDispatchFrame;

    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static bool FindAndDispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result);
    void Bind(HWND window, bool isDialog);
    void ReleaseNativeWindow();

    LRESULT Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Route(UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT ApplyFixedRule(UINT message, LRESULT result);
    LRESULT RouteActivate(WPARAM wParam, HWND other);
    LRESULT RouteCommand(WPARAM wParam, HWND control);
    LRESULT RouteDrawItem(const DRAWITEMSTRUCT* item);
    LRESULT RouteTimer(WPARAM id);
    void RouteId(UINT id);

    void Centre(const RECT& around);
    void ForgetTimers();

    HWND m_window = nullptr;
    BOOL m_isDialog = FALSE;
    HCURSOR m_cursor = nullptr;
    HICON m_largeIcon = nullptr;
    HICON m_smallIcon = nullptr;
    std::wstring m_className; // empty unless registered by this object
    std::vector<Timer> m_timers;
    std::vector<std::uint16_t> m_timerFlags; // parallel to m_timers
    CCritSec m_timerLock;
    bool m_nativeGone = false;         // the window ended by itself; its handle may be another's by now
    CDispatchFrame* m_frame = nullptr; // innermost message under way
};
