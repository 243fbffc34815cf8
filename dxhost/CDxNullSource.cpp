#include "dxhost/CDxNullSource.h"

#include "dxhost/IDeferZeroFill.h"
#include "dxhost/guids.h"

#include <new>

CDxNullSource::CDxNullSource(
    HRESULT* result, const WAVEFORMATEX& format, std::uint32_t bufferBytes, CForeignGuardPtr guard)
    : CBaseFilter(CLSID_DxNullSource),
      m_stream(new (std::nothrow) CDxNullSourceStream(*this, result, format, bufferBytes, std::move(guard))) {
    if (m_stream == nullptr)
        *result = E_OUTOFMEMORY;
}

CDxNullSource::~CDxNullSource() {
    m_stream.reset();
    if (m_allocator != nullptr)
        m_allocator->Release();
}

CBasePin* CDxNullSource::GetPin(int n) {
    return n == 0 ? m_stream.get() : nullptr;
}

HRESULT CDxNullSource::SetAllocator(IMemAllocator* allocator) {
    IDeferZeroFillAllocator* ours = nullptr;
    if (allocator == nullptr ||
        FAILED(allocator->QueryInterface(IID_IDeferZeroFillAllocator, reinterpret_cast<void**>(&ours))))
        return S_FALSE;
    if (m_allocator != nullptr)
        m_allocator->Release();
    m_allocator = allocator; // with the reference that the query added
    return S_OK;
}

HRESULT CDxNullSource::GetAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr)
        return E_POINTER;
    *allocator = m_allocator;
    if (m_allocator != nullptr)
        m_allocator->AddRef();
    return S_OK;
}
