#include "tests/effects/CTestPage.h"

#include "support/hresult.h"
#include "tests/effects/faults.h"

#include <cwchar>
#include <utility>

namespace {

WNDPROC g_static = nullptr;

LRESULT CALLBACK PageWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DESTROY)
        At(Place::PageWindow);
    return ::CallWindowProcW(g_static, window, message, wParam, lParam);
}

} // namespace

CTestPage::CTestPage() {
    ::InterlockedIncrement(&Shared().record.liveObjects);
}

CTestPage::~CTestPage() {
    ::InterlockedDecrement(&Shared().record.liveObjects);
}

STDMETHODIMP CTestPage::QueryInterface(REFIID iid, void** out) {
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IPropertyPage)
        return E_NOINTERFACE;
    return Enter(
        Place::QueryPage, [&] { return HandOut<IPropertyPage>(this, out); }, out);
}

STDMETHODIMP_(ULONG) CTestPage::Release() {
    const ULONG left = m_references.Drop();
    if (left == 0) {
        At(Place::LastPageRelease);
        delete this;
    }
    return left;
}

STDMETHODIMP CTestPage::SetPageSite(IPropertyPageSite* site) {
    const auto keep = [&] { return m_site = site, S_OK; };
    return Enter(Place::SetPageSite, keep, nullptr, site);
}

STDMETHODIMP CTestPage::SetObjects(ULONG count, IUnknown** objects) {
    const auto keep = [&] { return m_object = count == 1 ? objects[0] : nullptr, S_OK; };
    return Enter(Place::SetObjects, keep, nullptr, objects[0]);
}

STDMETHODIMP CTestPage::GetPageInfo(PROPPAGEINFO* info) {
    const auto fill = [&] {
        static constexpr wchar_t kTitle[] = L"Test page";
        info->pszTitle = static_cast<LPOLESTR>(::CoTaskMemAlloc(sizeof kTitle));
        if (info->pszTitle == nullptr)
            return E_OUTOFMEMORY;
        std::wcscpy(info->pszTitle, kTitle);
        info->size = Shared().plan.pageSize;
        return S_OK;
    };
    return Enter(Place::GetPageInfo, fill, info, this);
}

STDMETHODIMP CTestPage::Activate(HWND parent, LPCRECT area, BOOL) {
    RETURN_IF_FAILED(At(Place::Activate));
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"page", WS_CHILD, area->left, area->top,
        area->right - area->left, area->bottom - area->top, parent, nullptr, nullptr, nullptr);
    g_static = reinterpret_cast<WNDPROC>(
        ::SetWindowLongW(window, GWLP_WNDPROC, static_cast<LONG>(reinterpret_cast<LONG_PTR>(PageWindow))));
    Shared().record.pageWindow = window;
    return S_OK;
}

STDMETHODIMP CTestPage::Show(UINT command) {
    RETURN_IF_FAILED(At(Place::Show));
    ::ShowWindow(Shared().record.pageWindow, static_cast<int>(command));
    return S_OK;
}

STDMETHODIMP CTestPage::Deactivate() {
    RETURN_IF_FAILED(At(Place::Deactivate));
    if (HWND const window = std::exchange(Shared().record.pageWindow, nullptr))
        ::DestroyWindow(window);
    return S_OK;
}
