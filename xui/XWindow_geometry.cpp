#include "xui/XWindow.h"

namespace {

constexpr UINT kMoveFlags = SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOOWNERZORDER;
constexpr int kDesignDpi = 96;
constexpr int kManyDialogUnits = 1000;
// 1000 dialog units with the standard dialog font at 96 dpi, in pixels.
constexpr int kManyDesignPixelsX = 1500;
constexpr int kManyDesignPixelsY = 1625;

int g_screenDpi = -1; // not yet read; every thread that reads it finds the same

int Ratio(int value, int numerator, int denominator) {
    return static_cast<int>(std::int64_t{value} * numerator / denominator);
}

} // namespace

void XWindow::MoveTo(int left, int top, int width, int height) {
    RECT now{};
    if (m_window == nullptr || !::GetWindowRect(m_window, &now))
        return;
    const auto orNow = [](int wanted, LONG current) { return wanted == kKeep ? current : wanted; };
    ::SetWindowPos(m_window, nullptr, orNow(left, now.left), orNow(top, now.top),
        orNow(width, now.right - now.left), orNow(height, now.bottom - now.top), kMoveFlags);
}

void XWindow::MoveTo(const RECT& rect) {
    MoveTo(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
}

void XWindow::Centre(const RECT& around) {
    RECT now{};
    if (m_window == nullptr || !::GetWindowRect(m_window, &now))
        return;
    const int width = now.right - now.left;
    const int height = now.bottom - now.top;
    const int left = around.left + (around.right - around.left) / 2 - width / 2;
    const int top = around.top + (around.bottom - around.top) / 2 - height / 2;
    ::SetWindowPos(m_window, nullptr, left, top, width, height, kMoveFlags);
}

void XWindow::CentreOnDesktop() {
    RECT desktop{};
    ::GetClientRect(::GetDesktopWindow(), &desktop);
    Centre(desktop);
}

void XWindow::CentreOver(HWND other) {
    RECT around{};
    if (::GetWindowRect(other, &around))
        Centre(around);
}

RECT XWindow::GetClientRect() const {
    RECT rect{};
    if (m_window != nullptr)
        ::GetClientRect(m_window, &rect);
    return rect;
}

POINT XWindow::ClientToScreen(POINT point) const {
    if (m_window == nullptr)
        return {};
    ::ClientToScreen(m_window, &point);
    return point;
}

RECT XWindow::ClientToScreen(RECT rect) const {
    if (m_window == nullptr)
        return {};
    const POINT origin = ClientToScreen(POINT{});
    ::OffsetRect(&rect, origin.x, origin.y);
    return rect;
}

int XWindow::GetHeight() const {
    RECT rect{};
    return m_window != nullptr && ::GetWindowRect(m_window, &rect) ? rect.bottom - rect.top : 0;
}

void XWindow::Enable() {
    if (m_window != nullptr)
        ::EnableWindow(m_window, TRUE);
}
void XWindow::Disable() {
    if (m_window != nullptr)
        ::EnableWindow(m_window, FALSE);
}
bool XWindow::IsEnabled() const {
    return m_window != nullptr && ::IsWindowEnabled(m_window);
}
bool XWindow::IsVisible() const {
    return m_window != nullptr && ::IsWindowVisible(m_window);
}
bool XWindow::IsMaximised() const {
    return m_window != nullptr && ::IsZoomed(m_window);
}
bool XWindow::IsMinimised() const {
    return m_window != nullptr && ::IsIconic(m_window);
}
bool XWindow::IsWindowAlive() const {
    return m_window != nullptr && ::IsWindow(m_window);
}
void XWindow::Hide() {
    if (m_window != nullptr)
        ::ShowWindow(m_window, SW_HIDE);
}
void XWindow::Maximise() {
    if (m_window != nullptr)
        ::ShowWindow(m_window, SW_MAXIMIZE);
}
void XWindow::Minimise() {
    if (m_window != nullptr)
        ::ShowWindow(m_window, SW_MINIMIZE);
}
HWND XWindow::GetItem(int id) const {
    return m_window != nullptr ? ::GetDlgItem(m_window, id) : nullptr;
}
void XWindow::Post(UINT message, WPARAM wParam, LPARAM lParam) {
    if (m_window != nullptr)
        ::PostMessageW(m_window, message, wParam, lParam);
}

void XWindow::SuspendRedraw() {
    if (m_window != nullptr)
        ::SendMessageW(m_window, WM_SETREDRAW, FALSE, 0);
}

void XWindow::ResumeRedraw(bool repaint) {
    if (m_window == nullptr)
        return;
    ::SendMessageW(m_window, WM_SETREDRAW, TRUE, 0);
    if (repaint)
        ::InvalidateRect(m_window, nullptr, TRUE);
}

void XWindow::SetCursorImage(HCURSOR cursor) {
    if (m_window == nullptr)
        return;
    const auto copy = static_cast<HCURSOR>(::CopyImage(cursor, IMAGE_CURSOR, 0, 0, 0));
    if (copy == nullptr)
        return;
    ::SetClassLongW(m_window, GCLP_HCURSOR, reinterpret_cast<LONG>(copy));
    if (m_cursor != nullptr)
        ::DestroyCursor(m_cursor);
    m_cursor = copy;
}

void XWindow::SetStockCursor(LPCWSTR id) {
    if (m_window == nullptr)
        return;
    ::SetClassLongW(m_window, GCLP_HCURSOR, reinterpret_cast<LONG>(::LoadCursorW(nullptr, id)));
    if (m_cursor != nullptr)
        ::DestroyCursor(m_cursor);
    m_cursor = nullptr;
}

int XWindow::ScaleForDpi(int value, int dpi) {
    return Ratio(value, dpi, kDesignDpi);
}

int XWindow::ScaleForDpi(int value) {
    if (g_screenDpi < 0) {
        const HDC screen = ::GetDC(nullptr);
        g_screenDpi = ::GetDeviceCaps(screen, LOGPIXELSX);
        ::ReleaseDC(nullptr, screen);
    }
    return ScaleForDpi(value, g_screenDpi);
}

int XWindow::DialogUnitsToPixelsX(HWND dialog, int dialogUnits) {
    RECT rect{dialogUnits, 1, 1, 1};
    return ::MapDialogRect(dialog, &rect) ? rect.left : 0;
}
int XWindow::DialogUnitsToPixelsY(HWND dialog, int dialogUnits) {
    RECT rect{1, dialogUnits, 1, 1};
    return ::MapDialogRect(dialog, &rect) ? rect.top : 0;
}
int XWindow::DesignToDialogX(HWND dialog, int value) {
    return Ratio(value, DialogUnitsToPixelsX(dialog, kManyDialogUnits), kManyDesignPixelsX);
}
int XWindow::DesignToDialogY(HWND dialog, int value) {
    return Ratio(value, DialogUnitsToPixelsY(dialog, kManyDialogUnits), kManyDesignPixelsY);
}
int XWindow::DialogUnitsToPixelsX(int dialogUnits) const {
    return DialogUnitsToPixelsX(m_window, dialogUnits);
}
int XWindow::DialogUnitsToPixelsY(int dialogUnits) const {
    return DialogUnitsToPixelsY(m_window, dialogUnits);
}
int XWindow::DesignToDialogX(int value) const {
    return DesignToDialogX(m_window, value);
}
int XWindow::DesignToDialogY(int value) const {
    return DesignToDialogY(m_window, value);
}
