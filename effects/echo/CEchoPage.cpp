#include "effects/echo/CEchoPage.h"

#include "effects/echo/resource.h"
#include "support/hresult.h"
#include "support/module.h"

#include <commctrl.h>
#include <cstring>

namespace {

HWND CreatePage(HWND parent, DLGPROC procedure, CEchoPage* page) {
    const INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_BAR_CLASSES};
    ::InitCommonControlsEx(&classes);
    return ::CreateDialogParamW(
        ModuleHandle(), MAKEINTRESOURCEW(IDD_ECHO_PAGE), parent, procedure, reinterpret_cast<LPARAM>(page));
}

constexpr int SliderId(DWORD parameter) {
    return IDC_FIRST_SLIDER + static_cast<int>(parameter);
}
constexpr int EditId(DWORD parameter) {
    return IDC_FIRST_EDIT + static_cast<int>(parameter);
}

} // namespace

STDMETHODIMP CEchoPage::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPropertyPage)
        return HandOut<IPropertyPage>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEchoPage::Release() {
    const ULONG left = m_references.Drop();
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CEchoPage::Activate(HWND parent, LPCRECT area, BOOL) {
    if (area == nullptr)
        return E_POINTER;
    if (m_window != nullptr || m_echo == nullptr)
        return E_UNEXPECTED;
    if (CreatePage(parent, Dispatch, this) == nullptr)
        return E_FAIL;
    return Move(area);
}

STDMETHODIMP CEchoPage::Deactivate() {
    if (m_window != nullptr)
        ::DestroyWindow(m_window); // WM_NCDESTROY forgets it
    return S_OK;
}

STDMETHODIMP CEchoPage::GetPageInfo(PROPPAGEINFO* info) {
    if (info == nullptr)
        return E_POINTER;
    constexpr wchar_t kTitle[] = L"Echo";
    *info = {};
    info->cb = sizeof(PROPPAGEINFO);
    // The system alone knows what a dialog unit of this font comes to: a page that nobody sees is measured.
    const HWND window = CreatePage(HWND_MESSAGE, Dispatch, nullptr);
    if (window == nullptr)
        return E_FAIL;
    RECT client{};
    ::GetClientRect(window, &client);
    ::DestroyWindow(window);
    info->size = {client.right, client.bottom};
    info->pszTitle = static_cast<LPOLESTR>(::CoTaskMemAlloc(sizeof(kTitle)));
    if (info->pszTitle == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(info->pszTitle, kTitle, sizeof(kTitle));
    return S_OK;
}

STDMETHODIMP CEchoPage::SetObjects(ULONG count, IUnknown** objects) {
    if (count > 1)
        return E_INVALIDARG;
    Microsoft::WRL::ComPtr<IEcho> echo;
    if (count == 1) {
        if (objects == nullptr || objects[0] == nullptr)
            return E_POINTER;
        RETURN_IF_FAILED(objects[0]->QueryInterface(IID_IEcho, &echo));
    }
    m_echo = echo;
    return S_OK;
}

STDMETHODIMP CEchoPage::Show(UINT command) {
    if (m_window == nullptr)
        return E_UNEXPECTED;
    ::ShowWindow(m_window, static_cast<int>(command));
    return S_OK;
}

STDMETHODIMP CEchoPage::Move(LPCRECT area) {
    if (area == nullptr)
        return E_POINTER;
    if (m_window == nullptr)
        return E_UNEXPECTED;
    ::SetWindowPos(m_window, nullptr, area->left, area->top, area->right - area->left,
        area->bottom - area->top, SWP_NOZORDER | SWP_NOACTIVATE);
    return S_OK;
}

INT_PTR CALLBACK CEchoPage::Dispatch(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    if (message == WM_INITDIALOG) {
        ::SetWindowLongPtrW(window, DWLP_USER, lng);
        if (CEchoPage* const page = reinterpret_cast<CEchoPage*>(lng))
            page->OnInit(window);
        return FALSE; // the focus stays where the host has it
    }
    CEchoPage* const page = reinterpret_cast<CEchoPage*>(::GetWindowLongPtrW(window, DWLP_USER));
    return page != nullptr ? page->OnMessage(message, wide, lng) : FALSE;
}

INT_PTR CEchoPage::OnMessage(UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case WM_HSCROLL:
        OnSlider(reinterpret_cast<HWND>(lng));
        return TRUE;
    case WM_COMMAND: {
        const DWORD parameter = LOWORD(wide) - DWORD{IDC_FIRST_EDIT};
        if (parameter >= kEchoParameters)
            return FALSE;
        if (HIWORD(wide) == EN_CHANGE)
            OnTyped(parameter);
        else if (HIWORD(wide) == EN_KILLFOCUS)
            ShowNumber(parameter);
        return TRUE;
    }
    case WM_NCDESTROY: // also when the host destroys the parent first
        m_window = nullptr;
        return FALSE;
    default:
        return FALSE;
    }
}

void CEchoPage::OnInit(HWND window) {
    m_window = window;
    for (DWORD n = 0; n < kEchoParameters; ++n) {
        const EchoRange& range = kEchoRanges[n];
        const HWND slider = ::GetDlgItem(window, SliderId(n));
        ::SendMessageW(slider, TBM_SETRANGEMIN, FALSE, range.least);
        ::SendMessageW(slider, TBM_SETRANGEMAX, FALSE, range.most);
        ::SendMessageW(slider, TBM_SETPAGESIZE, 0, (range.most - range.least) / 20);
        ::SendDlgItemMessageW(window, EditId(n), EM_LIMITTEXT, 4, 0);
        ShowPosition(n);
        ShowNumber(n);
    }
}

void CEchoPage::OnSlider(HWND slider) {
    const DWORD parameter = static_cast<DWORD>(::GetDlgCtrlID(slider)) - DWORD{IDC_FIRST_SLIDER};
    if (parameter >= kEchoParameters || m_echo == nullptr)
        return;
    m_echo->SetParameter(parameter, static_cast<LONG>(::SendMessageW(slider, TBM_GETPOS, 0, 0)));
    ShowNumber(parameter);
}

// Runs for every change of the text, ShowNumber's too: then it finds nothing new.
void CEchoPage::OnTyped(DWORD parameter) {
    BOOL isNumber = FALSE;
    const UINT value = ::GetDlgItemInt(m_window, EditId(parameter), &isNumber, FALSE);
    if (isNumber && m_echo != nullptr && SUCCEEDED(m_echo->SetParameter(parameter, static_cast<LONG>(value))))
        ShowPosition(parameter);
}

void CEchoPage::ShowNumber(DWORD parameter) {
    ::SetDlgItemInt(m_window, EditId(parameter), static_cast<UINT>(Value(parameter)), FALSE);
}

void CEchoPage::ShowPosition(DWORD parameter) {
    ::SendDlgItemMessageW(m_window, SliderId(parameter), TBM_SETPOS, TRUE, Value(parameter));
}

LONG CEchoPage::Value(DWORD parameter) const {
    LONG value = kEchoRanges[parameter].initial;
    if (m_echo != nullptr)
        m_echo->GetParameter(parameter, &value);
    return value;
}
