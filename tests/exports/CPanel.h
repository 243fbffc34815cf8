#pragma once

#include "config/PlugInElem.h"
#include "config/plugin_store.h"
#include "resources/resource.h"
#include "tests/effects/CTestEffects.h"
#include "tests/exports/CHost.h"

#include <functional>
#include <initializer_list>
#include <string>

/// Runs this thread's messages until `done` or for 20 s at most; `dialog`: whose keyboard interface to use.
template <typename Done>
bool PumpUntil(Done done, HWND dialog = nullptr) {
    const DWORD start = ::GetTickCount();
    while (!done() && ::GetTickCount() - start < 20'000) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (dialog != nullptr && ::IsDialogMessageW(dialog, &message))
                continue;
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        ::Sleep(1);
    }
    return done();
}

/// What the registry holds as the list of usable effects, for a scope.
class CStoredList {
public:
    struct Effect {
        GUID clsid;
        const char* name;
    };
    explicit CStoredList(std::initializer_list<Effect> effects) {
        CStructArray list(sizeof(PlugInElem), 16);
        for (const Effect& effect : effects) {
            PlugInElem record;
            record.clsid = effect.clsid;
            record.name = CopyName(effect.name);
            list.Append(record);
        }
        StorePlugIns(list);
    }
    ~CStoredList() { Forget(); }
    CStoredList(const CStoredList&) = delete;
    CStoredList& operator=(const CStoredList&) = delete;
    static void Forget() { ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Orvelle\\DXWrapper"); }
};

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

/// Does `person` with the scanner's dialog as soon as it is shown, while this lives.
class CScannerPerson {
public:
    explicit CScannerPerson(std::function<void(HWND)> person) {
        Person() = std::move(person);
        m_timer = ::SetTimer(nullptr, 0, 20, Look);
    }
    ~CScannerPerson() { ::KillTimer(nullptr, m_timer); }
    CScannerPerson(const CScannerPerson&) = delete;
    CScannerPerson& operator=(const CScannerPerson&) = delete;

private:
    static std::function<void(HWND)>& Person() {
        static std::function<void(HWND)> person;
        return person;
    }
    static void CALLBACK Look(HWND, UINT, UINT_PTR timer, DWORD) {
        const HWND dialog = ::FindWindowW(nullptr, L"Scan for DirectX PlugIns");
        if (dialog == nullptr || !::IsWindowVisible(dialog))
            return;
        ::KillTimer(nullptr, timer);
        Person()(dialog);
    }
    UINT_PTR m_timer;
};
