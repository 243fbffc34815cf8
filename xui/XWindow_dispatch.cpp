#include "xui/XWindow.h"

#include <algorithm>
#include <memory>

namespace {

int SignedLow(LPARAM value) {
    return static_cast<std::int16_t>(LOWORD(value));
}
int SignedHigh(LPARAM value) {
    return static_cast<std::int16_t>(HIWORD(value));
}
int SignedHigh(WPARAM value) {
    return static_cast<std::int16_t>(HIWORD(value));
}
template <typename T>
T From(WPARAM value) {
    return reinterpret_cast<T>(value);
}
template <typename T>
T From(LPARAM value) {
    return reinterpret_cast<T>(value);
}
LRESULT ToResult(HBRUSH brush) {
    return reinterpret_cast<LRESULT>(brush);
}
bool ResultIsReadDirectly(UINT message) {
    return message == WM_CTLCOLORDLG || message == WM_CTLCOLORSTATIC;
}

} // namespace

/// One message under way. Handlers cause further messages to their own window: each has its own m_handled,
/// put back at its end. A handler may destroy the object: the frames learn of it and touch it no more.
class XWindow::CDispatchFrame {
public:
    explicit CDispatchFrame(XWindow* object)
        : m_object(object), m_outer(object->m_frame), m_outerHandled(object->m_handled) {
        object->m_frame = this;
    }
    ~CDispatchFrame() {
        if (m_object == nullptr)
            return;
        m_object->m_frame = m_outer;
        m_object->m_handled = m_outerHandled;
    }
    CDispatchFrame(const CDispatchFrame&) = delete;
    CDispatchFrame& operator=(const CDispatchFrame&) = delete;

    bool ObjectLives() const { return m_object != nullptr; }

    static void ObjectDies(CDispatchFrame* innermost) {
        for (CDispatchFrame* frame = innermost; frame != nullptr; frame = frame->m_outer)
            frame->m_object = nullptr;
    }

private:
    XWindow* m_object;
    CDispatchFrame* m_outer;
    BOOL m_outerHandled;
};

XWindow::~XWindow() {
    DestroyNativeWindow();
    if (m_cursor != nullptr)
        ::DestroyCursor(m_cursor);
    if (m_largeIcon != nullptr)
        ::DestroyIcon(m_largeIcon);
    if (m_smallIcon != nullptr)
        ::DestroyIcon(m_smallIcon);
    CDispatchFrame::ObjectDies(m_frame);
}

LRESULT XWindow::Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const CDispatchFrame frame(this);
    const bool isDialog = m_isDialog != FALSE;
    m_handled = FALSE;
    if (m_window == nullptr)
        return 0;

    LRESULT result = OnMessage(window, message, wParam, lParam, &m_handled);
    if (frame.ObjectLives() && !m_handled) {
        m_handled = TRUE;
        result = Route(message, wParam, lParam);
        if (frame.ObjectLives() && m_handled && ResultIsReadDirectly(message))
            return result;
        if (frame.ObjectLives())
            result = ApplyFixedRule(message, result);
    }

    const BOOL handled = frame.ObjectLives() ? m_handled : TRUE;
    if (isDialog) {
        ::SetWindowLongW(window, DWLP_MSGRESULT, result);
        return handled;
    }
    return handled ? result : ::DefWindowProcW(window, message, wParam, lParam);
}

// What holds for a kind of message whatever its handler did.
LRESULT XWindow::ApplyFixedRule(UINT message, LRESULT result) {
    switch (message) {
    case WM_CREATE:
    case WM_INITDIALOG:
        m_handled = TRUE;
        return 0;
    case WM_PAINT:
    case WM_SYSCOMMAND:
        m_handled = FALSE;
        return 0;
    case WM_ERASEBKGND:
        return m_handled ? 1 : 0;
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSTATIC:
        return 0;
    default:
        return result;
    }
}

// The table: one line a message. The left operand of a comma is a handler, the right one the message's
// result.
LRESULT XWindow::Route(UINT message, WPARAM wParam, LPARAM lParam) {
    const int x = SignedLow(lParam);
    const int y = SignedHigh(lParam);
    // clang-format off
    switch (message) {
    case WM_ACTIVATE: return RouteActivate(wParam, From<HWND>(lParam));
    case WM_CLOSE: return OnClose(), 0;
    case WM_CONTEXTMENU: return OnContextMenu(From<HWND>(wParam), x, y), 0;
    case WM_COMMAND: return RouteCommand(wParam, From<HWND>(lParam));
    case WM_CREATE: case WM_INITDIALOG: return OnCreate(), 0;
    case WM_DESTROY: return OnDestroy(), 0;
    case WM_DRAWITEM: return RouteDrawItem(From<const DRAWITEMSTRUCT*>(lParam));
    case WM_ERASEBKGND: return OnEraseBackground(From<HDC>(wParam)), 0;
    case WM_SHOWWINDOW: return wParam != 0 ? OnShow(lParam) : OnHide(lParam), 0;
    case WM_KEYDOWN: return OnKeyDown(wParam, lParam), 0;
    case WM_KEYUP: return OnKeyUp(wParam, lParam), 0;
    case WM_CHAR: return OnChar(wParam), 0;
    case WM_LBUTTONDOWN: case WM_RBUTTONDOWN: case WM_MBUTTONDOWN: return OnMouseDown(x, y, message, wParam), 0;
    case WM_LBUTTONDBLCLK: case WM_RBUTTONDBLCLK: case WM_MBUTTONDBLCLK: return OnMouseDoubleClick(x, y, message, wParam), 0;
    case WM_LBUTTONUP: case WM_RBUTTONUP: case WM_MBUTTONUP: return OnMouseUp(x, y, message, wParam), 0;
    case WM_MOUSEMOVE: return OnMouseMove(x, y, wParam), 0;
    case WM_MOUSEWHEEL: return OnMouseWheel(x, y, SignedHigh(wParam), LOWORD(wParam)), 0;
    case WM_MOVE: return OnMove(x, y), 0;
    case WM_NOTIFY: return OnNotify(From<NMHDR*>(lParam));
    case WM_PAINT: return OnPaint(), 0;
    case WM_SIZE: return OnSize(LOWORD(lParam), HIWORD(lParam), wParam), 0;
    case WM_SYSCOMMAND: return OnSysCommand(wParam & ~WPARAM{0xF}), 0;
    case WM_TIMER: return RouteTimer(wParam);
    case WM_CTLCOLORSTATIC: return ToResult(OnCtlColorStatic());
    case WM_CTLCOLORDLG: return ToResult(OnCtlColorDialog());
    default: return m_handled = FALSE, 0;
    }
    // clang-format on
}

LRESULT XWindow::RouteActivate(WPARAM wParam, HWND other) {
    const UINT state = LOWORD(wParam);
    const bool minimised = HIWORD(wParam) != 0;
    if (state == WA_INACTIVE)
        OnDeactivate(other, minimised);
    else
        OnActivate(other, minimised, state);
    return 0;
}

LRESULT XWindow::RouteCommand(WPARAM wParam, HWND control) {
    const CDispatchFrame& frame = *m_frame;
    const UINT id = LOWORD(wParam);
    const UINT code = HIWORD(wParam);
    if (code == 0)
        RouteId(id);
    if (frame.ObjectLives())
        OnCommand(id, control, code);
    return 0;
}

void XWindow::RouteId(UINT id) {
    // clang-format off
    switch (id) {
    case IDOK: return OnIdOk();
    case IDCANCEL: return OnIdCancel();
    case IDABORT: return OnIdAbort();
    case IDRETRY: return OnIdRetry();
    case IDIGNORE: return OnIdIgnore();
    case IDYES: return OnIdYes();
    case IDNO: return OnIdNo();
    case IDCLOSE: return OnIdClose();
    case IDHELP: return OnIdHelp();
    default: return;
    }
    // clang-format on
}

LRESULT XWindow::RouteDrawItem(const DRAWITEMSTRUCT* item) {
    OnDrawItem(item->hwndItem, item->CtlID, item);
    return 0;
}

LRESULT XWindow::RouteTimer(WPARAM id) {
    const CDispatchFrame& frame = *m_frame;
    const auto unlockIfAlive = [&frame](CCritSec* lock) {
        if (frame.ObjectLives()) // else the lock went with the object
            lock->Unlock();
    };
    m_timerLock.Lock();
    const std::unique_ptr<CCritSec, decltype(unlockIfAlive)> held(&m_timerLock, unlockIfAlive);
    const auto found =
        std::find_if(m_timers.begin(), m_timers.end(), [id](const Timer& timer) { return timer.id == id; });
    if (found == m_timers.end())
        return 0;
    const Timer timer = *found; // the handler may change the list
    OnTimer(timer.id, timer.userValue);
    return 0;
}

// What the operations do where nobody overrides them.
// clang-format off
void XWindow::OnActivate(HWND, bool, UINT) { m_handled = FALSE; }
void XWindow::OnClose() { m_handled = FALSE; }
void XWindow::OnContextMenu(HWND, int, int) { m_handled = FALSE; }
void XWindow::OnCommand(UINT, HWND, UINT) {}
void XWindow::OnCreate() { m_handled = FALSE; }
void XWindow::OnDestroy() { m_handled = FALSE; }
void XWindow::OnDeactivate(HWND, bool) { m_handled = FALSE; }
void XWindow::OnDrawItem(HWND, UINT, const DRAWITEMSTRUCT*) { m_handled = FALSE; }
void XWindow::OnEraseBackground(HDC) { m_handled = FALSE; }
void XWindow::OnHide(LPARAM) { m_handled = FALSE; }
void XWindow::OnKeyDown(WPARAM, LPARAM) { m_handled = FALSE; }
void XWindow::OnKeyUp(WPARAM, LPARAM) { m_handled = FALSE; }
void XWindow::OnChar(WPARAM) { m_handled = FALSE; }
void XWindow::OnMouseDown(int, int, UINT, WPARAM) { m_handled = FALSE; }
void XWindow::OnMouseDoubleClick(int, int, UINT, WPARAM) { m_handled = FALSE; }
void XWindow::OnMouseUp(int, int, UINT, WPARAM) { m_handled = FALSE; }
void XWindow::OnMouseMove(int, int, WPARAM) { m_handled = FALSE; }
void XWindow::OnMouseWheel(int, int, int, UINT) { m_handled = FALSE; }
void XWindow::OnMove(int, int) { m_handled = FALSE; }
LRESULT XWindow::OnNotify(NMHDR*) { return m_handled = FALSE, 0; }
void XWindow::OnPaint() { m_handled = FALSE; }
void XWindow::OnShow(LPARAM) { m_handled = FALSE; }
void XWindow::OnSize(int, int, WPARAM) { m_handled = FALSE; }
void XWindow::OnSysCommand(WPARAM) {}
void XWindow::OnTimer(UINT, std::uint32_t) { m_handled = FALSE; }
HBRUSH XWindow::OnCtlColorStatic() { return m_handled = FALSE, nullptr; }
HBRUSH XWindow::OnCtlColorDialog() { return m_handled = FALSE, nullptr; }
LRESULT XWindow::OnMessage(HWND, UINT, WPARAM, LPARAM, BOOL*) { return 0; }
void XWindow::OnIdOk() {}
void XWindow::OnIdCancel() {}
void XWindow::OnIdAbort() {}
void XWindow::OnIdClose() {}
void XWindow::OnIdHelp() {}
void XWindow::OnIdIgnore() {}
void XWindow::OnIdNo() {}
void XWindow::OnIdRetry() {}
void XWindow::OnIdYes() {}
// clang-format on
