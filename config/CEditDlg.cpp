#include "config/CEditDlg.h"

#include "support/CFloatModes.h"
#include "support/module.h"
#include "support/text.h"

#include <exception>
#include <utility>

namespace {

constexpr UINT kDestroyYourself = WM_APP + 104; // to a window whose dialog object is gone

int Width(const RECT& rect) {
    return rect.right - rect.left;
}
int Height(const RECT& rect) {
    return rect.bottom - rect.top;
}

void SetTitle(HWND window, const char* title) {
    if (title == nullptr || *title == '\0')
        return;
    try {
        ::SetWindowTextW(window, AnsiToWide(title).c_str());
    } catch (const std::exception&) {
        // Out of memory: a window without a title serves as well.
    }
}

// Gives `window` the client size and centres it on `parent` (screen coordinates).
void SizeAndCentre(HWND window, HWND parent, int clientWidth, int clientHeight) {
    RECT outer{};
    RECT client{};
    RECT around{};
    ::GetWindowRect(window, &outer);
    ::GetClientRect(window, &client);
    ::GetWindowRect(parent, &around);
    const int width = clientWidth + Width(outer) - Width(client);
    const int height = clientHeight + Height(outer) - Height(client);
    const int left = around.left + (Width(around) - width) / 2;
    const int top = around.top + (Height(around) - height) / 2;
    ::SetWindowPos(window, nullptr, left, top, width, height, SWP_NOZORDER | SWP_SHOWWINDOW);
}

} // namespace

CEditDlg::~CEditDlg() {
    Destroy();
}

void CEditDlg::SetOnClose(OnClose onClose, void* argument) {
    m_onClose = onClose;
    m_onCloseArgument = argument;
}

HWND CEditDlg::Create(HWND parent, WORD templateId, int clientWidth, int clientHeight, const char* title) {
    if (m_window != nullptr)
        return nullptr;
    m_window = ::CreateDialogParamW(
        ModuleHandle(), MAKEINTRESOURCEW(templateId), parent, DialogProc, reinterpret_cast<LPARAM>(this));
    if (m_window == nullptr)
        return nullptr;
    SetTitle(m_window, title);
    SizeAndCentre(m_window, parent, clientWidth, clientHeight);
    return m_window;
}

bool CEditDlg::Destroy(ForeignFault* fault) {
    const HWND window = std::exchange(m_window, nullptr);
    if (window == nullptr || !::IsWindow(window))
        return true;
    ::SetWindowLongW(window, DWLP_USER, 0);
    if (::GetWindowThreadProcessId(window, nullptr) != ::GetCurrentThreadId()) {
        ::PostMessageW(window, kDestroyYourself, 0, 0);
        return true;
    }
    const bool destroyed = RunGuarded([window] { ::DestroyWindow(window); }, fault); // the page's hear of it
    RestoreStackGuard();
    return destroyed;
}

void CEditDlg::Abandon() {
    const HWND window = std::exchange(m_window, nullptr);
    if (window == nullptr || !::IsWindow(window))
        return;
    ::SetWindowLongW(window, DWLP_USER, 0);
    ::SetWindowLongW(
        window, GWLP_HWNDPARENT, 0); // else it would go with its owner, and the page would hear of it
    ::ShowWindowAsync(window, SW_HIDE);
}

void CEditDlg::CloseByUser() {
    const CFloatModes modes;
    if (m_onClose != nullptr)
        m_onClose(m_onCloseArgument);
    else
        Destroy();
}

INT_PTR CALLBACK CEditDlg::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        ::SetWindowLongW(window, DWLP_USER, static_cast<LONG>(lParam));
        return FALSE;
    }
    auto* const dialog = reinterpret_cast<CEditDlg*>(::GetWindowLongW(window, DWLP_USER));
    if (message == WM_SYSCOMMAND && wParam == SC_CLOSE) {
        if (dialog != nullptr)
            dialog->CloseByUser();
        return TRUE;
    }
    if (message == kDestroyYourself) {
        RunGuarded([window] { ::DestroyWindow(window); });
        return TRUE;
    }
    if (message == WM_DESTROY && dialog != nullptr) { // it goes with its owner
        dialog->m_window = nullptr;
        dialog->CloseByUser();
    }
    return FALSE;
}
