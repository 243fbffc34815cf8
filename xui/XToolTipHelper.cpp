#include "xui/XToolTipHelper.h"

#include "xui/XButton.h"

#include <algorithm>
#include <utility>

namespace {

constexpr UINT kPollMs = 50;
constexpr UINT_PTR kTimerId = 0x7454; // clear of the small ids that a form counts up from 1

// The button that lives on `control`; null when it has gone.
XButton* ButtonOf(HWND control) {
    return dynamic_cast<XButton*>(XSubClassCtrl::Attached(control));
}

} // namespace

void XToolTipHelper::Attach(HWND form) {
    Detach();
    m_form = form;
    ::SetTimer(form, kTimerId, kPollMs, nullptr);
}

void XToolTipHelper::Detach() {
    if (m_form != nullptr)
        ::KillTimer(m_form, kTimerId);
    m_form = nullptr;
    for (const HWND control : std::exchange(m_controls, {})) {
        if (XButton* const button = ButtonOf(control))
            button->EndToolTip();
    }
}

void XToolTipHelper::Register(const XButton& button) {
    if (button.Control() != nullptr)
        m_controls.push_back(button.Control());
}

LRESULT XToolTipHelper::OnMessage(HWND form, UINT message, WPARAM wParam, LPARAM lParam, BOOL* handled) {
    if (form != m_form || form == nullptr)
        return 0;
    if (message == WM_TIMER && wParam == kTimerId) {
        *handled = TRUE;
        PollCursor();
        return 0;
    }
    const auto isOurs = [this](HWND control) {
        return std::find(m_controls.begin(), m_controls.end(), control) != m_controls.end();
    };
    if (message == WM_DRAWITEM) {
        const auto* const item = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
        XButton* const button = isOurs(item->hwndItem) ? ButtonOf(item->hwndItem) : nullptr;
        if (button == nullptr)
            return 0;
        *handled = TRUE;
        button->Draw(*item);
        return TRUE;
    }
    if (message == WM_COMMAND && HIWORD(wParam) == BN_CLICKED) {
        const auto control = reinterpret_cast<HWND>(lParam);
        XButton* const button = isOurs(control) ? ButtonOf(control) : nullptr;
        if (button == nullptr)
            return 0;
        *handled = TRUE;
        button->Clicked();
    }
    return 0;
}

void XToolTipHelper::PollCursor() {
    POINT cursor{};
    ::GetCursorPos(&cursor);
    for (const HWND control : std::vector<HWND>(m_controls)) {
        if (XButton* const button = ButtonOf(control))
            button->PollCursor(cursor);
    }
}
