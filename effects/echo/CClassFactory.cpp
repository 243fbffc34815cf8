#include "effects/echo/CClassFactory.h"

STDMETHODIMP CClassFactory::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IClassFactory)
        return HandOut<IClassFactory>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CClassFactory::Release() {
    const ULONG left = m_references.Drop();
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    return outer != nullptr ? CLASS_E_NOAGGREGATION : m_make(iid, out);
}

STDMETHODIMP CClassFactory::LockServer(BOOL lock) {
    if (lock)
        CModuleUse::Add();
    else
        CModuleUse::Drop();
    return S_OK;
}
