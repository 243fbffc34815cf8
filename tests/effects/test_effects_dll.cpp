// test_effects.dll: class objects of the test effect and its page, and the state shared with the test
// program.

#include "support/hresult.h"
#include "tests/effects/CTestEffect.h"
#include "tests/effects/CTestPage.h"
#include "tests/effects/faults.h"

#include <wrl/client.h>
#include <new>

namespace {

// One for each class, never deleted.
class CFactory : public IClassFactory {
public:
    explicit CFactory(Place place) : m_place(place) {}
    virtual ~CFactory() = default;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory)
            return HandOut<IClassFactory>(this, out);
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        *out = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        const auto make = [&] {
            return m_place == Place::CreateEffect ? Make<CTestEffect, IBaseFilter>(iid, out)
                                                  : Make<CTestPage, IPropertyPage>(iid, out);
        };
        return Enter(m_place, make, out);
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }

private:
    template <typename T, typename Interface>
    static HRESULT Make(REFIID iid, void** out) {
        const Microsoft::WRL::ComPtr<Interface> object(new (std::nothrow) T);
        return object ? object->QueryInterface(iid, out) : E_OUTOFMEMORY;
    }

    const Place m_place;
};

CFactory g_effects(Place::CreateEffect);
CFactory g_pages(Place::CreatePage);

} // namespace

extern "C" {

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    const auto find = [&] {
        *out = nullptr;
        if (clsid == CLSID_TestEffect)
            return g_effects.QueryInterface(iid, out);
        return clsid == CLSID_TestPage ? g_pages.QueryInterface(iid, out) : CLASS_E_CLASSNOTAVAILABLE;
    };
    return Enter(Place::GetClassObject, find, out);
}

STDAPI DllCanUnloadNow() {
    return S_FALSE;
}

TestEffectState* __cdecl TestEffect_State() {
    return &Shared();
}

} // extern "C"
