#pragma once

#include "dxhost/CDXClient.h"
#include "support/com.h"

/// The site of an effect's property page. Never deletes itself: it lives and dies with its client.
class CDXClient::XPropertyPageSite : public IPropertyPageSite {
public:
    virtual ~XPropertyPageSite() = default;

    /// E_FAIL, not E_NOINTERFACE, for what it does not offer.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override { return m_references.Drop(); }

    /// The page acts on the effect directly: there is nothing to apply.
    STDMETHODIMP OnStatusChange(DWORD) override { return S_OK; }
    STDMETHODIMP GetLocaleID(LCID* locale) override;
    STDMETHODIMP GetPageContainer(IUnknown** container) override;
    STDMETHODIMP TranslateAccelerator(MSG*) override { return S_FALSE; }

    /// Does anybody still hold a reference?
    bool InUse();

private:
    CRefCount m_references;
};
