#include "tests/effects/CTestPage.h"

#include "support/hresult.h"
#include "tests/effects/faults.h"

#include <cwchar>
#include <utility>

CTestPage::CTestPage() {
    ::InterlockedIncrement(&Shared().record.liveObjects);
}

CTestPage::~CTestPage() {
    if (m_site != nullptr)
        m_site->Release();
    if (m_object != nullptr)
        m_object->Release();
    ::InterlockedDecrement(&Shared().record.liveObjects);
}

STDMETHODIMP CTestPage::QueryInterface(REFIID iid, void** out) {
    if (iid == IID_IUnknown || iid == IID_IPropertyPage)
        return HandOut<IPropertyPage>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
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
    RETURN_IF_FAILED(At(Place::SetPageSite));
    if (site != nullptr)
        site->AddRef();
    if (m_site != nullptr)
        m_site->Release();
    m_site = site;
    return S_OK;
}

STDMETHODIMP CTestPage::SetObjects(ULONG count, IUnknown** objects) {
    RETURN_IF_FAILED(At(Place::SetObjects));
    if (m_object != nullptr)
        std::exchange(m_object, nullptr)->Release();
    if (count == 1) {
        m_object = objects[0];
        m_object->AddRef();
    }
    return S_OK;
}

STDMETHODIMP CTestPage::GetPageInfo(PROPPAGEINFO* info) {
    RETURN_IF_FAILED(At(Place::GetPageInfo));
    static constexpr wchar_t kTitle[] = L"Test page";
    info->pszTitle = static_cast<LPOLESTR>(::CoTaskMemAlloc(sizeof kTitle));
    if (info->pszTitle == nullptr)
        return E_OUTOFMEMORY;
    std::wcscpy(info->pszTitle, kTitle);
    info->size = Shared().plan.pageSize;
    return S_OK;
}

STDMETHODIMP CTestPage::Activate(HWND parent, LPCRECT area, BOOL) {
    RETURN_IF_FAILED(At(Place::Activate));
    Shared().record.pageWindow = ::CreateWindowExW(0, L"STATIC", L"page", WS_CHILD, area->left, area->top,
        area->right - area->left, area->bottom - area->top, parent, nullptr, nullptr, nullptr);
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
