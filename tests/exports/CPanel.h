#pragma once

#include "resources/resource.h"
#include "tests/config/CScannerPerson.h"
#include "tests/config/CStoredList.h"
#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"
#include "tests/messages.h"

#include <string>

/// An instance with its panel in a window of a host, and what a person does with it.
class CPanel : public CHost {
public:
    static constexpr int kX = 13;
    static constexpr int kY = 17;

    explicit CPanel(CModule& module) : CHost(module), m_exports(module) {}
    ~CPanel() { ::DestroyWindow(window); }

    HWND Show(const std::wstring& settings = L"") {
        return form = m_exports.ShowConfigBit(instance, window, kX, kY, settings.c_str());
    }
    std::wstring Remove() { return m_exports.RemoveConfigBit(instance, 0); }

    HWND Item(int id) const { return ::GetDlgItem(form, id); }
    LRESULT Ask(int id, UINT message, WPARAM wide = 0, LPARAM lng = 0) const {
        return ::SendMessageW(Item(id), message, wide, lng);
    }
    bool EditorButtonIs(bool enabled, bool checked) const {
        return ::IsWindowEnabled(Item(IDC_EDITOR_TOGGLE)) == (enabled ? TRUE : FALSE) &&
               Ask(IDC_EDITOR_TOGGLE, BM_GETCHECK) == (checked ? BST_CHECKED : BST_UNCHECKED);
    }
    int Selection() const { return static_cast<int>(Ask(IDC_EFFECTS, CB_GETCURSEL)); }
    void Select(int position) const {
        Ask(IDC_EFFECTS, CB_SETCURSEL, static_cast<WPARAM>(position));
        ::SendMessageW(form, WM_COMMAND, MAKEWPARAM(IDC_EFFECTS, CBN_SELCHANGE),
            reinterpret_cast<LPARAM>(Item(IDC_EFFECTS)));
    }
    void Press(int id) const { Ask(id, BM_CLICK); }
    /// The window that shows an effect's page, by its title; null when there is none.
    static HWND Editor(const wchar_t* title) {
        const HWND editor = ::FindWindowW(L"#32770", title);
        return ::IsWindowVisible(editor) ? editor : nullptr;
    }

    const HWND window = ::CreateWindowExW(0, L"STATIC", L"host", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 100,
        120, 700, 400, nullptr, nullptr, nullptr, nullptr);
    HWND form = nullptr;

private:
    CModule& m_exports;
};
