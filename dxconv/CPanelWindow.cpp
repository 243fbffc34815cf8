#include "dxconv/CPanelWindow.h"

#include "dxconv/CError.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"

#include <algorithm>

namespace {

constexpr UINT_PTR kInterruptionTimer = 1;
constexpr UINT kInterruptionPollMs = 100;
constexpr DWORD kDialogClass = 0x8002; // atom of the system's class "#32770"

constexpr DWORD kStyle = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN;
constexpr DWORD kExtendedStyle = WS_EX_CONTROLPARENT; // Tab finds the controls inside the panel

// A dialog template in memory, with no menu, the usual class, no title and no controls. Its size, in dialog
// units, serves until the panel is there.
struct alignas(DWORD) EmptyDialog {
    DLGTEMPLATE dialog{kStyle, kExtendedStyle, 0, 0, 0, 230, 60};
    WORD menuClassTitle[3] = {};
};

// Windows of an effect that are no dialogs have their own use for Tab, Return and Escape.
bool IsDialog(HWND window) {
    return window != nullptr && ::GetClassLongW(window, GCW_ATOM) == kDialogClass;
}

} // namespace

CPanelWindow::CPanelWindow(const wchar_t* title) {
    const EmptyDialog empty;
    m_window =
        ::CreateDialogIndirectParamW(::GetModuleHandleW(nullptr), &empty.dialog, nullptr, DialogProc, 0);
    if (m_window == nullptr)
        throw CError(ExitCode::Internal, "panel",
            "no window can be made: " + SystemErrorText() + "; log on to a desktop");
    ::SetWindowTextW(m_window, title);
    ::SetTimer(m_window, kInterruptionTimer, kInterruptionPollMs, nullptr);
    RECT outer{};
    ::GetWindowRect(m_window, &outer);
    Centre(outer.right - outer.left, outer.bottom - outer.top);
    ::ShowWindow(m_window, SW_SHOWNORMAL);
}

int CPanelWindow::Margin() {
    return ::GetSystemMetrics(SM_CXSMICON) / 2; // 8 at 96 dpi
}

void CPanelWindow::Centre(int width, int height) {
    RECT work{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    const int left = work.left + std::max<int>(0, (work.right - work.left - width) / 2);
    const int top = work.top + std::max<int>(0, (work.bottom - work.top - height) / 2);
    ::SetWindowPos(m_window, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

void CPanelWindow::Fit(HWND panel) {
    RECT area{};
    ::GetWindowRect(panel, &area);
    ::MapWindowPoints(nullptr, m_window, reinterpret_cast<POINT*>(&area), 2);
    RECT outer{0, 0, area.right + Margin(), area.bottom + Margin()};
    ::AdjustWindowRectEx(&outer, kStyle, FALSE, kExtendedStyle);
    Centre(outer.right - outer.left, outer.bottom - outer.top);
    const HWND first = ::GetNextDlgTabItem(m_window, nullptr, FALSE);
    if (first != nullptr)
        ::SendMessageW(m_window, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(first), TRUE);
}

void CPanelWindow::RunUntilClosed() {
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        // The panel, and the effect's page in a window of its own.
        const HWND root = ::GetAncestor(message.hwnd, GA_ROOT);
        if (IsDialog(root) && ::IsDialogMessageW(root, &message))
            continue;
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

INT_PTR CALLBACK CPanelWindow::DialogProc(HWND, UINT message, WPARAM wParam, LPARAM) {
    const bool interrupted = message == WM_TIMER && wParam == kInterruptionTimer && IsCancelled();
    if (message != WM_CLOSE && !interrupted) // Return and Escape come as commands and do nothing
        return FALSE;
    ::PostQuitMessage(0); // ends the loop of a dialog that the panel has opened as well
    return TRUE;
}
