#include "dxhost/base/CEnumPins.h"

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBasePin.h"

#include <new>

CEnumPins::CEnumPins(CBaseFilter& filter, int next) : m_filter(filter), m_next(next) {
    m_filter.AddRef();
}

CEnumPins::~CEnumPins() {
    m_filter.Release();
}

STDMETHODIMP CEnumPins::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IEnumPins)
        return HandOut<IEnumPins>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumPins::Release() {
    const ULONG left = m_references.Drop();
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CEnumPins::Next(ULONG wanted, IPin** pins, ULONG* fetched) {
    if (pins == nullptr || (fetched == nullptr && wanted != 1))
        return E_POINTER;
    ULONG given = 0;
    for (; given < wanted && m_next < m_filter.GetPinCount(); ++given) {
        pins[given] = m_filter.GetPin(m_next++);
        pins[given]->AddRef();
    }
    if (fetched != nullptr)
        *fetched = given;
    return given == wanted ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG count) {
    const auto left = static_cast<ULONG>(m_filter.GetPinCount() - m_next);
    if (count > left) {
        m_next = m_filter.GetPinCount();
        return S_FALSE;
    }
    m_next += static_cast<int>(count);
    return S_OK;
}

STDMETHODIMP CEnumPins::Reset() {
    m_next = 0;
    return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** clone) {
    if (clone == nullptr)
        return E_POINTER;
    *clone = new (std::nothrow) CEnumPins(m_filter, m_next);
    if (*clone == nullptr)
        return E_OUTOFMEMORY;
    (*clone)->AddRef();
    return S_OK;
}
