#include "xui/XButton.h"

#include <utility>
#include <vector>

namespace {

bool IsPressKey(WPARAM key) {
    return key == VK_SPACE || key == VK_RETURN;
}

std::vector<XToolTipItem> TipItems(const std::wstring& heading, const std::wstring& text) {
    std::vector<XToolTipItem> items;
    for (const std::wstring* const line : {&heading, &text}) {
        if (line->empty())
            continue;
        XToolTipItem item;
        item.text = *line;
        item.colour = ::GetSysColor(COLOR_INFOTEXT);
        items.push_back(std::move(item));
    }
    return items;
}

} // namespace

XButton::~XButton() {
    EndToolTip();
    Detach();
}

bool XButton::Create(HWND parent, WORD id, const wchar_t* caption, int left, int top, int width, int height,
    const XButtonColours& colours, const wchar_t* tipHeading, const wchar_t* tipText) {
    EndToolTip();
    Detach();
    const HWND control = ::CreateWindowExW(0, L"BUTTON", caption,
        WS_CHILD | WS_VISIBLE | WS_TABSTOP | BS_OWNERDRAW, left, top, width, height, parent,
        reinterpret_cast<HMENU>(UINT_PTR{id}), ::GetModuleHandleW(nullptr), nullptr);
    if (control == nullptr)
        return false;
    ::SendMessageW(control, WM_SETFONT, static_cast<WPARAM>(::SendMessageW(parent, WM_GETFONT, 0, 0)), FALSE);
    {
        const CAutoLock lock(m_lock);
        m_caption = caption;
        m_tipHeading = tipHeading;
        m_tipText = tipText;
        m_colours = colours;
    }
    m_height = height;
    m_pressed = m_focusCue = m_hot = false;
    Attach(control);
    std::vector<XToolTipItem> items = TipItems(m_tipHeading, m_tipText);
    if (!items.empty()) {
        XToolTipOptions options;
        options.owner = control;
        options.ownerBound = true;
        m_toolTip.Activate(std::move(items), options);
    }
    return true;
}

void XButton::EndToolTip() {
    m_toolTip.Deactivate();
}

void XButton::SetMenu(WORD menuId, HMODULE module, HWND commandWindow) {
    m_menuId = menuId;
    m_menuModule = module;
    m_menu = nullptr;
    m_commandWindow = commandWindow;
}

void XButton::SetMenu(HMENU menu, HWND commandWindow) {
    m_menuId = 0;
    m_menu = menu;
    m_commandWindow = commandWindow;
}

bool XButton::ShowMenu(HWND commandWindow) {
    if (m_menuId == 0 && m_menu == nullptr)
        return false;
    if (!::IsWindowEnabled(Control()))
        return true;
    HMENU menu = m_menu;
    if (m_menuId != 0) {
        const HMODULE module = m_menuModule != nullptr ? m_menuModule : ::GetModuleHandleW(nullptr);
        menu = ::LoadMenuW(module, MAKEINTRESOURCEW(m_menuId));
        if (menu == nullptr)
            return false;
    }
    m_pressed = true;
    Repaint();
    POINT corner{0, m_height};
    ::ClientToScreen(Control(), &corner);
    ::TrackPopupMenu(::GetSubMenu(menu, 0), TPM_RIGHTBUTTON, corner.x, corner.y, 0, commandWindow, nullptr);
    if (m_menuId != 0)
        ::DestroyMenu(menu);
    m_pressed = false;
    Repaint();
    return true;
}

LRESULT XButton::OnSubclassMessage(HWND, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) {
    if (message < WM_SETFOCUS || message > WM_KEYUP)
        return 0;
    switch (message) {
    case WM_SETFOCUS:
        FocusChanged(true);
        break;
    case WM_KILLFOCUS:
        FocusChanged(false);
        break;
    case WM_GETDLGCODE:
        if (!AsksForReturn(lParam))
            return 0;
        *handled = TRUE;
        return DLGC_WANTMESSAGE;
    case WM_KEYDOWN:
        KeyDown(wParam, handled);
        break;
    case WM_KEYUP:
        KeyUp(wParam, handled);
        break;
    case WM_NCDESTROY: // the owner of the tooltip goes
        EndToolTip();
        break;
    default:
        break;
    }
    return 0;
}

// The system's button acts on the space bar too, which would click a second time: it does not see that key.
void XButton::KeyDown(WPARAM key, BOOL* handled) {
    const bool presses = IsPressKey(key) && ::IsWindowEnabled(Control());
    m_pressed = presses;
    Repaint();
    if (!presses)
        return;
    *handled = TRUE;
    if (ShowMenu(m_commandWindow))
        m_pressed = false;
    else
        OnPress(0);
}

void XButton::KeyUp(WPARAM key, BOOL* handled) {
    if (key == VK_TAB)
        m_focusCue = true;
    const bool clicks = m_pressed && IsPressKey(key);
    if (clicks)
        m_pressed = false;
    Repaint();
    if (!clicks)
        return;
    *handled = TRUE;
    OnClick(0);
}

void XButton::FocusChanged(bool focused) {
    if (!focused) { // the release of a key goes elsewhere now
        m_pressed = false;
        m_focusCue = false;
    }
    Repaint();
    OnFocus(focused ? 1 : 0);
}

void XButton::Clicked() {
    if (!ShowMenu(m_commandWindow))
        OnClick(0);
}

void XButton::PollCursor(POINT cursor) {
    const bool hot = Control() != nullptr && ::WindowFromPoint(cursor) == Control();
    if (hot == m_hot)
        return;
    m_hot = hot;
    Repaint();
    OnHot(hot ? 1 : 0);
}

void XButton::Repaint() {
    if (Control() != nullptr)
        ::InvalidateRect(Control(), nullptr, FALSE);
}

CButtonFaces::State XButton::StateOf(UINT itemState) const {
    if ((itemState & ODS_DISABLED) != 0)
        return CButtonFaces::kDisabled;
    if (m_pressed || (itemState & ODS_SELECTED) != 0)
        return CButtonFaces::kPressed;
    const bool hasFocus = (itemState & ODS_FOCUS) != 0;
    if (hasFocus && (m_focusCue || (itemState & ODS_NOFOCUSRECT) == 0))
        return CButtonFaces::kFocused;
    if (m_hot)
        return CButtonFaces::kHot;
    return hasFocus ? CButtonFaces::kDefault : CButtonFaces::kNormal;
}

void XButton::Draw(const DRAWITEMSTRUCT& item) {
    const CAutoLock lock(m_lock);
    const auto font = reinterpret_cast<HFONT>(::SendMessageW(item.hwndItem, WM_GETFONT, 0, 0));
    const int dpi = ::GetDeviceCaps(item.hDC, LOGPIXELSX);
    m_faces.Draw(item.hDC, item.rcItem, StateOf(item.itemState), m_caption, font, dpi, m_colours);
}

void XButton::OnClick(std::uint32_t) {}
void XButton::OnFocus(std::uint32_t) {}
void XButton::OnPress(std::uint32_t) {}
void XButton::OnHot(std::uint32_t) {}
