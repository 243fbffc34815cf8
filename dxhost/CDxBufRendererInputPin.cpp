#include "dxhost/CDxBufRendererInputPin.h"

#include "dxhost/CDxBufRenderer.h"

CDxBufRendererInputPin::CDxBufRendererInputPin(CDxBufRenderer& owner, CForeignGuardPtr guard)
    : CBaseInputPin(owner, L"In", std::move(guard)), m_owner(owner) {}

CDxBufRendererInputPin::~CDxBufRendererInputPin() {
    SetAllocator(nullptr);
}

void CDxBufRendererInputPin::SetAllocator(IMemAllocator* allocator) {
    if (allocator == m_given)
        return;
    if (allocator != nullptr)
        allocator->AddRef();
    if (m_given != nullptr)
        m_given->Release();
    m_given = allocator;
}

HRESULT CDxBufRendererInputPin::CheckMediaType(const AM_MEDIA_TYPE* type) {
    return IsFloatAudio(type) && type->formattype == FORMAT_WaveFormatEx ? S_OK : E_INVALIDARG;
}

HRESULT CDxBufRendererInputPin::SetMediaType(const AM_MEDIA_TYPE* type) {
    m_owner.SetFormat(*CMediaType::Audio(type), type->cbFormat);
    return S_OK;
}

STDMETHODIMP CDxBufRendererInputPin::GetAllocator(IMemAllocator** allocator) {
    const CAutoLock lock(Filter().Lock());
    if (allocator == nullptr)
        return E_POINTER;
    if (m_given == nullptr)
        return CBaseInputPin::GetAllocator(allocator);
    *allocator = m_given;
    m_given->AddRef();
    return S_OK;
}

STDMETHODIMP CDxBufRendererInputPin::Receive(IMediaSample* sample) {
    const CAutoLock lock(Filter().Lock());
    if (sample == nullptr)
        return S_FALSE;
    m_owner.SetSample(sample);
    return S_OK;
}
