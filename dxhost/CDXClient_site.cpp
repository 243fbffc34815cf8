#include "dxhost/CDXClient_site.h"

STDMETHODIMP CDXClient::XPropertyPageSite::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPropertyPageSite)
        return HandOut<IPropertyPageSite>(this, out);
    *out = nullptr;
    return E_FAIL;
}

STDMETHODIMP CDXClient::XPropertyPageSite::GetLocaleID(LCID* locale) {
    if (locale == nullptr)
        return E_INVALIDARG;
    *locale = ::GetUserDefaultLCID();
    return S_OK;
}

STDMETHODIMP CDXClient::XPropertyPageSite::GetPageContainer(IUnknown** container) {
    if (container != nullptr)
        *container = nullptr;
    return E_NOTIMPL;
}

bool CDXClient::XPropertyPageSite::InUse() {
    AddRef();
    return Release() != 0;
}
