#pragma once

#include "support/CCritSec.h"
#include "xui/CButtonFaces.h"
#include "xui/XSubClassCtrl.h"
#include "xui/XToolTip.h"

#include <windows.h>

#include <cstdint>
#include <string>

/// A push button that draws itself, has a tooltip and may open a menu. Derive and override OnClick.
///
/// The form that it lies on hands it WM_DRAWITEM (Draw) and WM_COMMAND (Clicked), by itself or by way of an
/// XToolTipHelper that the button is registered with. Thread: the form's.
class XButton : public XSubClassCtrl {
public:
    XButton() = default;
    ~XButton() override;
    LRESULT OnSubclassMessage(
        HWND control, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) override;
    /// Space or return was released, or the mouse has clicked.
    virtual void OnClick(std::uint32_t unused);
    /// The keyboard focus came (1) or went (0).
    virtual void OnFocus(std::uint32_t focused);
    /// Space or return went down on a button without a menu.
    virtual void OnPress(std::uint32_t unused);
    /// The cursor came (1) or went (0).
    virtual void OnHot(std::uint32_t hot);

    /// Makes the control on `parent`, in pixels of its client area, with the parent's font, and the tooltip
    /// from a heading and a text (each may be empty). False when there is no control afterwards. One that was
    /// made before is detached and stays its parent's.
    bool Create(HWND parent, WORD id, const wchar_t* caption, int left, int top, int width, int height,
        const XButtonColours& colours, const wchar_t* tipHeading, const wchar_t* tipText);
    /// Ends the tooltip; afterwards no thread but the caller's knows the button.
    void EndToolTip();

    /// menuId: in `module`, null for the executable's. The commands go to `commandWindow`.
    void SetMenu(WORD menuId, HMODULE module, HWND commandWindow);
    void SetMenu(HMENU menu, HWND commandWindow);
    /// Shows the menu and waits for the choice. False when there is none.
    bool ShowMenu(HWND commandWindow);

    void Draw(const DRAWITEMSTRUCT& item);
    /// The control's WM_COMMAND with BN_CLICKED: by mouse or by a helper of disabled people.
    void Clicked();
    /// Where the cursor is now (screen); asked for at short intervals.
    void PollCursor(POINT cursor);

    bool IsPressed() const { return m_pressed; }
    bool IsHot() const { return m_hot; }
    XToolTip& ToolTip() { return m_toolTip; }

private:
    void KeyDown(WPARAM key, BOOL* handled);
    void KeyUp(WPARAM key, BOOL* handled);
    void FocusChanged(bool focused);
    void Repaint();
    CButtonFaces::State StateOf(UINT itemState) const;

    bool m_pressed = false;  // space or return is down, or the menu is open
    bool m_focusCue = false; // the focus came by the tab key
    bool m_hot = false;
    WORD m_menuId = 0;
    HMODULE m_menuModule = nullptr;
    HMENU m_menu = nullptr; // borrowed
    HWND m_commandWindow = nullptr;
    int m_height = 0;
    std::wstring m_caption;
    std::wstring m_tipHeading;
    std::wstring m_tipText;
    XToolTip m_toolTip;
    CCritSec m_lock; // texts and pictures
    XButtonColours m_colours;
    CButtonFaces m_faces;
};
