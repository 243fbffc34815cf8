#include "dxhost/base/CBaseInputPin.h"

#include "dxhost/base/CBaseFilter.h"
#include "support/hresult.h"

STDMETHODIMP CBaseInputPin::QueryInterface(REFIID iid, void** out) {
    if (out != nullptr && iid == IID_IMemInputPin)
        return HandOut<IMemInputPin>(this, out);
    return CBasePin::QueryInterface(iid, out);
}

STDMETHODIMP CBaseInputPin::BeginFlush() {
    const CAutoLock lock(Filter().Lock());
    m_flushing = true;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::EndFlush() {
    const CAutoLock lock(Filter().Lock());
    m_flushing = false;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr)
        return E_POINTER;
    const CAutoLock lock(Filter().Lock());
    if (m_allocator == nullptr)
        RETURN_IF_FAILED(::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
            IID_IMemAllocator, reinterpret_cast<void**>(&m_allocator)));
    *allocator = m_allocator;
    return Foreign([this] { return m_allocator->AddRef(), S_OK; });
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
    if (allocator == nullptr)
        return E_POINTER;
    const CAutoLock lock(Filter().Lock());
    RETURN_IF_FAILED(Foreign([allocator] { return allocator->AddRef(), S_OK; }));
    ForeignRelease(m_allocator);
    m_allocator = allocator;
    m_readOnly = readOnly != FALSE;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* sample) {
    if (sample == nullptr)
        return E_POINTER;
    if (Filter().State() == State_Stopped)
        return VFW_E_WRONG_STATE;
    return m_flushing ? S_FALSE : S_OK;
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
    if (samples == nullptr || processed == nullptr)
        return E_POINTER;
    HRESULT result = S_OK;
    for (*processed = 0; *processed < count && result == S_OK;) {
        result = Receive(samples[*processed]);
        if (result == S_OK)
            ++*processed;
    }
    return result;
}

HRESULT CBaseInputPin::BreakConnect() {
    ForeignRelease(m_allocator);
    m_readOnly = false;
    return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
    m_flushing = false;
    return S_OK;
}
