#pragma once

#include "support/com.h"

#include <ocidl.h>
#include <wrl/client.h>

/// The test effect's property page: an empty child window of the planned size.
class CTestPage : public IPropertyPage {
public:
    CTestPage();
    virtual ~CTestPage();

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP SetPageSite(IPropertyPageSite* site) override;
    STDMETHODIMP Activate(HWND parent, LPCRECT area, BOOL modal) override;
    STDMETHODIMP Deactivate() override;
    STDMETHODIMP GetPageInfo(PROPPAGEINFO* info) override;
    STDMETHODIMP SetObjects(ULONG count, IUnknown** objects) override;
    STDMETHODIMP Show(UINT command) override;
    STDMETHODIMP Move(LPCRECT) override { return S_OK; }
    STDMETHODIMP IsPageDirty() override { return S_FALSE; }
    STDMETHODIMP Apply() override { return S_OK; }
    STDMETHODIMP Help(LPCOLESTR) override { return E_NOTIMPL; }
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }

private:
    CRefCount m_references;
    Microsoft::WRL::ComPtr<IPropertyPageSite> m_site;
    Microsoft::WRL::ComPtr<IUnknown> m_object;
};
