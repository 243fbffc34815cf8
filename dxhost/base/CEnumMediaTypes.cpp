#include "dxhost/base/CEnumMediaTypes.h"

#include "dxhost/base/CBasePin.h"
#include "dxhost/base/CMediaType.h"

#include <new>

CEnumMediaTypes::CEnumMediaTypes(CBasePin& pin, int next) : m_pin(pin), m_next(next) {
    m_pin.AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
    m_pin.Release();
}

STDMETHODIMP CEnumMediaTypes::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IEnumMediaTypes)
        return HandOut<IEnumMediaTypes>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::Release() {
    const ULONG left = m_references.Drop();
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG wanted, AM_MEDIA_TYPE** types, ULONG* fetched) {
    if (types == nullptr || (fetched == nullptr && wanted != 1))
        return E_POINTER;
    ULONG given = 0;
    for (; given < wanted; ++given, ++m_next) {
        CMediaType type;
        if (m_pin.GetMediaType(m_next, &type) != S_OK)
            break;
        auto* const record = static_cast<AM_MEDIA_TYPE*>(::CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        if (record == nullptr)
            break;
        if (FAILED(CMediaType::CopyRecord(record, type))) {
            ::CoTaskMemFree(record);
            break;
        }
        types[given] = record;
    }
    if (fetched != nullptr)
        *fetched = given;
    return given == wanted ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG count) {
    for (; count > 0; --count, ++m_next) {
        CMediaType type;
        if (m_pin.GetMediaType(m_next, &type) != S_OK)
            return S_FALSE;
    }
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Reset() {
    m_next = 0;
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** clone) {
    if (clone == nullptr)
        return E_POINTER;
    *clone = new (std::nothrow) CEnumMediaTypes(m_pin, m_next);
    if (*clone == nullptr)
        return E_OUTOFMEMORY;
    (*clone)->AddRef();
    return S_OK;
}
