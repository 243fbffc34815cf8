#include "xui/XSubClassCtrl.h"

#include "support/CFloatModes.h"

XSubClassCtrl::~XSubClassCtrl() {
    Detach();
}

void XSubClassCtrl::Attach(HWND control) {
    Detach();
    ::SetWindowLongW(control, GWLP_USERDATA, reinterpret_cast<LONG>(this));
    // The first message may come before the next call returns.
    m_oldProc = reinterpret_cast<WNDPROC>(::GetWindowLongW(control, GWLP_WNDPROC));
    const LONG oldProc =
        ::SetWindowLongW(control, GWLP_WNDPROC, reinterpret_cast<LONG>(&XSubClassCtrl::SubclassProc));
    if (oldProc == 0) {
        ::SetWindowLongW(control, GWLP_USERDATA, 0);
        m_oldProc = nullptr;
        return;
    }
    m_oldProc = reinterpret_cast<WNDPROC>(oldProc);
    m_control = control;
}

void XSubClassCtrl::Detach() {
    if (m_control == nullptr)
        return;
    ::SetWindowLongW(m_control, GWLP_USERDATA, 0);
    ::SetWindowLongW(m_control, GWLP_WNDPROC, reinterpret_cast<LONG>(m_oldProc));
    m_control = nullptr;
    m_oldProc = nullptr;
}

XSubClassCtrl* XSubClassCtrl::Attached(HWND control) {
    const LONG ours = reinterpret_cast<LONG>(&XSubClassCtrl::SubclassProc);
    if (control == nullptr || ::GetWindowLongW(control, GWLP_WNDPROC) != ours)
        return nullptr;
    return reinterpret_cast<XSubClassCtrl*>(::GetWindowLongW(control, GWLP_USERDATA));
}

bool XSubClassCtrl::AsksForReturn(LPARAM lParam) {
    const auto* const asked = reinterpret_cast<const MSG*>(lParam);
    return asked != nullptr && (asked->message == WM_KEYDOWN || asked->message == WM_KEYUP) &&
           asked->wParam == VK_RETURN;
}

LRESULT XSubClassCtrl::OnSubclassMessage(HWND, UINT, WPARAM, LPARAM, BOOL*) {
    return 0;
}

LRESULT CALLBACK XSubClassCtrl::SubclassProc(HWND control, UINT message, WPARAM wParam, LPARAM lParam) {
    const CFloatModes modes;
    auto* const object = reinterpret_cast<XSubClassCtrl*>(::GetWindowLongW(control, GWLP_USERDATA));
    if (object == nullptr || object->m_oldProc == nullptr)
        return 0;
    const WNDPROC oldProc = object->m_oldProc; // the handler may detach or destroy the object
    BOOL handled = FALSE;
    LRESULT result = 0;
    try {
        result = object->OnSubclassMessage(control, message, wParam, lParam, &handled);
    } catch (...) { // a handler's failure ends with its message
        handled = FALSE;
    }
    if (message == WM_NCDESTROY) {
        if (XSubClassCtrl* const attached = Attached(control))
            attached->Detach();
        handled = FALSE;
    }
    return handled ? result : ::CallWindowProcW(oldProc, control, message, wParam, lParam);
}
