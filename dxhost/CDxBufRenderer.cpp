#include "dxhost/CDxBufRenderer.h"

#include "dxhost/guids.h"
#include "support/hresult.h"

#include <algorithm>
#include <cstring>
#include <new>

CDxBufRenderer::CDxBufRenderer(HRESULT* result, CForeignGuardPtr guard)
    : CBaseFilter(CLSID_DxBufRenderer), m_guard(std::move(guard)),
      m_pin(new (std::nothrow) CDxBufRendererInputPin(*this, m_guard)) {
    if (m_pin == nullptr)
        *result = E_OUTOFMEMORY;
}

CDxBufRenderer::~CDxBufRenderer() {
    ReleaseSample();
}

CBasePin* CDxBufRenderer::GetPin(int n) {
    const CAutoLock lock(Lock());
    return n == 0 ? m_pin.get() : nullptr;
}

void CDxBufRenderer::SetFormat(const WAVEFORMATEX& format, std::size_t formatBytes) {
    m_format = {};
    std::memcpy(&m_format, &format, std::min(formatBytes, sizeof m_format));
}

void CDxBufRenderer::SetSample(IMediaSample* sample) {
    if (sample == m_sample)
        return;
    if (sample != nullptr && FAILED(m_guard->Call([sample] { sample->AddRef(); })))
        sample = nullptr;
    m_guard->Release(m_sample);
    m_sample = sample;
}

HRESULT CDxBufRenderer::GetOutput(std::uint8_t** data, std::uint32_t* frames, std::uint32_t* readableBytes) {
    if (m_sample == nullptr || m_format.nBlockAlign == 0)
        return E_FAIL;
    LONG actual = 0;
    LONG size = 0;
    RETURN_IF_FAILED(m_guard->Call([&] {
        actual = m_sample->GetActualDataLength();
        size = m_sample->GetSize();
        return m_sample->GetPointer(data);
    }));
    if (*data == nullptr || actual < 0 || actual > size)
        return E_FAIL;
    *frames = static_cast<std::uint32_t>(actual) / m_format.nBlockAlign;
    *readableBytes = static_cast<std::uint32_t>(size);
    return S_OK;
}

int CDxBufRenderer::ReleaseSample() {
    const CAutoLock lock(Lock());
    const int result = m_sample != nullptr ? 0 : 1;
    m_guard->Release(m_sample);
    return result;
}
