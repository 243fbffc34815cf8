#include "xui/XWindow.h"

#include "support/CFloatModes.h"
#include "xui/CWindowRegistry.h"

namespace {

// To a window without an object: end yourself, on your own thread.
constexpr UINT kDestroyOrphan = WM_APP + 0x3A1;
constexpr int kMaxClassName = 256;

bool BelongsToThisThread(HWND window) {
    return ::GetWindowThreadProcessId(window, nullptr) == ::GetCurrentThreadId();
}

// The window's class goes with it if it was made for it alone; for others the system refuses.
void DestroyOrphan(HWND window) {
    wchar_t className[kMaxClassName] = L"";
    ::GetClassNameW(window, className, kMaxClassName);
    ::DestroyWindow(window);
    if (std::wstring(className).starts_with(L"XWnd"))
        ::UnregisterClassW(className, ::GetModuleHandleW(nullptr));
}

} // namespace

XWindow::XWindow() {
    CWindowRegistry::Instance();
}

XWindow::XWindow(const wchar_t* title, int left, int top, int right, int bottom, DWORD style, DWORD exStyle,
    HWND parent, UINT classStyle, const wchar_t* className, HMENU menuOrId)
    : XWindow() {
    CreateNativeWindow(
        title, left, top, right, bottom, style, exStyle, parent, classStyle, className, menuOrId);
}

void XWindow::CreateNativeWindow(const wchar_t* title, int left, int top, int right, int bottom, DWORD style,
    DWORD exStyle, HWND parent, UINT classStyle, const wchar_t* className, HMENU menuOrId) {
    DestroyNativeWindow();
    if (className == nullptr) {
        m_className = CWindowRegistry::Instance().RegisterFreshClass(classStyle, WindowProc);
        if (m_className.empty())
            return;
        className = m_className.c_str();
    }
    m_window = ::CreateWindowExW(exStyle, className, title, style, left, top, right - left, bottom - top,
        parent, menuOrId, ::GetModuleHandleW(nullptr), this);
    if (m_window == nullptr)
        ReleaseNativeWindow();
}

INT_PTR XWindow::CreateFromTemplate(WORD templateId, HWND parent, BOOL modal, HMODULE module) {
    DestroyNativeWindow();
    if (module == nullptr)
        module = ::GetModuleHandleW(nullptr);
    const LPCWSTR name = MAKEINTRESOURCEW(templateId);
    const LPARAM object = reinterpret_cast<LPARAM>(this);
    if (modal)
        return ::DialogBoxParamW(module, name, parent, DialogProc, object);
    if (::CreateDialogParamW(module, name, parent, DialogProc, object) != nullptr)
        return 1;
    if (m_nativeGone) // else there is none, or one that was made while this one was being made
        ReleaseNativeWindow();
    return 0;
}

void XWindow::EndModal(INT_PTR result) {
    if (m_window != nullptr)
        ::EndDialog(m_window, result);
}

void XWindow::DestroyNativeWindow() {
    HWND orphan = nullptr;
    if (m_window != nullptr && !m_nativeGone && !BelongsToThisThread(m_window)) {
        orphan = m_window;
    } else if (m_window != nullptr) {
        if (!m_nativeGone)
            ::ShowWindow(m_window, SW_HIDE);
        ForgetTimers();
        if (!m_nativeGone)
            ::DestroyWindow(m_window);
    }
    ReleaseNativeWindow();
    if (orphan != nullptr) {
        ::ShowWindowAsync(orphan, SW_HIDE);
        ::PostMessageW(orphan, kDestroyOrphan, 0, 0);
    }
}

void XWindow::ReleaseNativeWindow() {
    ForgetTimers();
    if (!m_className.empty())
        ::UnregisterClassW(m_className.c_str(), ::GetModuleHandleW(nullptr));
    m_className.clear();
    CWindowRegistry::Instance().Remove(this);
    m_window = nullptr;
    m_nativeGone = false;
}

void XWindow::Bind(HWND window, bool isDialog) {
    m_window = window;
    m_nativeGone = false;
    m_isDialog = isDialog ? TRUE : FALSE;
    CWindowRegistry::Instance().Add(this);
}

bool XWindow::FindAndDispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT* result) {
    *result = 0;
    XWindow* const object = CWindowRegistry::Instance().Find(window);
    if (object == nullptr) {
        if (message == kDestroyOrphan)
            DestroyOrphan(window);
        return false;
    }
    if (message == WM_NCDESTROY)
        object->m_nativeGone = true; // the last message of the window
    *result = object->Dispatch(window, message, wParam, lParam);
    return true;
}

LRESULT CALLBACK XWindow::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const CFloatModes modes;
    LRESULT result = 0;
    try {
        if (message == WM_CREATE) {
            const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
            static_cast<XWindow*>(creation->lpCreateParams)->Bind(window, false);
        }
        if (FindAndDispatch(window, message, wParam, lParam, &result))
            return result;
    } catch (...) { // a handler's failure ends with its message
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

INT_PTR CALLBACK XWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const CFloatModes modes;
    LRESULT result = 0;
    try {
        if (message == WM_INITDIALOG)
            reinterpret_cast<XWindow*>(lParam)->Bind(window, true);
        FindAndDispatch(window, message, wParam, lParam, &result);
    } catch (...) { // a handler's failure ends with its message
        return FALSE;
    }
    return result;
}
