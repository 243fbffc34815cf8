#pragma once

#include "effects/echo/CModuleUse.h"
#include "support/com.h"

#include <new>

/// Makes the objects of one class of this DLL. Threads: any.
class CClassFactory final : public IClassFactory {
public:
    /// Makes an object and hands out its `iid`.
    using Maker = HRESULT (*)(REFIID iid, void** out);

    explicit CClassFactory(Maker make) : m_make(make) {}
    virtual ~CClassFactory() = default;
    CClassFactory(const CClassFactory&) = delete;
    CClassFactory& operator=(const CClassFactory&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override;
    /// CLASS_E_NOAGGREGATION for any outer object.
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    STDMETHODIMP LockServer(BOOL lock) override;

private:
    const CModuleUse m_use;
    CRefCount m_references;
    const Maker m_make;
};

/// A new T (counted from 0 references), through `iid`: what a Maker does.
template <typename T, typename... Arguments>
HRESULT MakeObject(REFIID iid, void** out, Arguments... arguments) {
    *out = nullptr;
    T* const object = new (std::nothrow) T(arguments...);
    if (object == nullptr)
        return E_OUTOFMEMORY;
    object->AddRef();
    const HRESULT result = object->QueryInterface(iid, out);
    object->Release();
    return result;
}
