#include "dxhost/base/CBaseFilter.h"

#include "dxhost/base/CBasePin.h"
#include "dxhost/base/CEnumPins.h"
#include "support/hresult.h"

#include <cwchar>
#include <new>

STDMETHODIMP CBaseFilter::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPersist || iid == IID_IMediaFilter || iid == IID_IBaseFilter)
        return HandOut<IBaseFilter>(this, out);
    return QueryFurther(iid, out);
}

HRESULT CBaseFilter::QueryFurther(REFIID, void** out) {
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CBaseFilter::Release() {
    return DeleteWithout(m_references.Drop());
}

ULONG CBaseFilter::DeleteWithout(LONG references) {
    if (references == 0) {
        m_references.Add(); // what the destructors release may touch this object again
        delete this;
    }
    return COwnedCount::Shown(references);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* clsid) {
    if (clsid == nullptr)
        return E_POINTER;
    *clsid = m_clsid;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Stop() {
    const CAutoLock lock(m_lock);
    HRESULT result = S_OK;
    if (m_state != State_Stopped)
        for (int n = 0; n < GetPinCount(); ++n) {
            const HRESULT stopped = GetPin(n)->Inactive();
            if (FAILED(stopped))
                result = stopped;
        }
    m_state = State_Stopped;
    return result;
}

STDMETHODIMP CBaseFilter::Pause() {
    const CAutoLock lock(m_lock);
    if (m_state == State_Stopped)
        for (int n = 0; n < GetPinCount(); ++n)
            if (GetPin(n)->IsConnected())
                RETURN_IF_FAILED(GetPin(n)->Active());
    m_state = State_Paused;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME) {
    const CAutoLock lock(m_lock);
    if (m_state == State_Stopped)
        RETURN_IF_FAILED(Pause());
    m_state = State_Running;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* state) {
    if (state == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    *state = m_state;
    return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* clock) {
    const CAutoLock lock(m_lock);
    m_clock = clock;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** clock) {
    if (clock == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    return m_clock.CopyTo(clock);
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** pins) {
    if (pins == nullptr)
        return E_POINTER;
    *pins = new (std::nothrow) CEnumPins(*this);
    if (*pins == nullptr)
        return E_OUTOFMEMORY;
    (*pins)->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR id, IPin** pin) {
    if (id == nullptr || pin == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    for (int n = 0; n < GetPinCount(); ++n)
        if (std::wcscmp(GetPin(n)->Name(), id) == 0) {
            *pin = GetPin(n);
            (*pin)->AddRef();
            return S_OK;
        }
    *pin = nullptr;
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
    if (info == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    ::lstrcpynW(info->achName, m_name.c_str(), MAX_FILTER_NAME);
    info->pGraph = m_graph;
    if (m_graph != nullptr)
        m_graph->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    const CAutoLock lock(m_lock);
    m_graph = graph;
    try {
        m_name = name == nullptr ? L"" : name;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}
