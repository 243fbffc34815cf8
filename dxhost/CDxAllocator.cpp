#include "dxhost/CDxAllocator.h"

#include "dxhost/CDeferZeroFillMediaSample.h"
#include "support/hresult.h"

#include <algorithm>
#include <cstdint>
#include <new>

HRESULT CDxAllocator::Create(CDxAllocator** allocator, CForeignGuardPtr guard) {
    if (allocator == nullptr)
        return E_POINTER;
    *allocator = new (std::nothrow) CDxAllocator(std::move(guard));
    if (*allocator == nullptr)
        return E_OUTOFMEMORY;
    (*allocator)->AddRef();
    return S_OK;
}

STDMETHODIMP CDxAllocator::QueryInterface(REFIID iid, void** out) {
    if (out != nullptr && iid == IID_IDeferZeroFillAllocator)
        return HandOut<IDeferZeroFillAllocator>(this, out);
    return CBaseAllocator::QueryInterface(iid, out);
}

STDMETHODIMP CDxAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
    const CAutoLock lock(m_lock);
    if (m_committed)
        return VFW_E_ALREADY_COMMITTED;
    if (FreeCount() < m_allocated)
        return VFW_E_BUFFERS_OUTSTANDING;
    if (request == nullptr || actual == nullptr)
        return E_POINTER;
    if (request->cBuffers < 0 || request->cbBuffer < 0 || request->cbPrefix < 0)
        return E_INVALIDARG;
    const LONG alignment = std::max(request->cbAlign, 1L);
    const std::int64_t wanted = std::int64_t{request->cbBuffer} + request->cbPrefix;
    const std::int64_t rounded = (wanted + alignment - 1) / alignment * alignment;
    const LONG size = static_cast<LONG>(std::min<std::int64_t>(rounded - request->cbPrefix, kSizeCapBytes));
    m_prefix = m_firstRequest ? request->cbPrefix : m_prefix;
    m_alignment = m_firstRequest ? alignment : std::max(m_alignment, alignment);
    m_firstRequest = false;
    m_count += std::min(request->cBuffers, MAXLONG - m_count);
    m_size = std::max(m_size, size);
    m_changed = true;
    *actual = {m_count, size, m_alignment, m_prefix};
    return S_OK;
}

STDMETHODIMP CDxAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (properties == nullptr)
        return E_POINTER;
    const CAutoLock lock(m_lock);
    *properties = {std::min(m_count, kReportedCount), m_size, m_alignment, m_prefix};
    return S_OK;
}

STDMETHODIMP CDxAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) {
    if (sample == nullptr)
        return E_POINTER;
    *sample = nullptr;
    const CAutoLock lock(m_lock);
    if (!m_committed)
        return VFW_E_NOT_COMMITTED;
    auto* const taken = static_cast<CDeferZeroFillMediaSample*>(TakeFree());
    if (taken == nullptr)
        return E_OUTOFMEMORY;
    taken->SetDeferZeroFill(FALSE);
    AddRef();
    m_mostOutstanding = std::max(m_mostOutstanding, ++m_outstanding);
    *sample = static_cast<CMediaSample*>(taken);
    return S_OK;
}

STDMETHODIMP CDxAllocator::ReleaseBuffer(IMediaSample* sample) {
    if (sample == nullptr)
        return E_POINTER;
    auto* const returned = static_cast<CDeferZeroFillMediaSample*>(static_cast<CMediaSample*>(sample));
    // Without the lock: whoever returns a sample waits for nobody, and nobody waits for it.
    if (returned->Memory() == m_memory.get()) {
        PutFree(returned);
        --m_outstanding;
    } else {
        delete returned; // out since before a teardown
    }
    NotifyReturned();
    Release();
    return S_OK;
}

STDMETHODIMP CDxAllocator::Reset(LONG count) {
    const CAutoLock lock(m_lock);
    m_memory.reset();
    m_count = std::max(count, 0L);
    m_size = m_alignment = m_prefix = 0;
    m_firstRequest = true;
    m_outstanding = 0;
    m_mostOutstanding = 0;
    m_changed = true;
    return S_OK;
}

STDMETHODIMP CDxAllocator::Alloc() {
    const CAutoLock lock(m_lock);
    if (m_count == 0 && m_size == 0)
        return S_OK;
    if (m_count < 1 || m_size < 1 || m_alignment < 1)
        return VFW_E_SIZENOTSET;
    if (m_changed || m_memory == nullptr)
        RETURN_IF_FAILED(RenewMemory());
    while (m_allocated < m_count)
        RETURN_IF_FAILED(AddSample());
    m_committed = true;
    m_changed = false;
    return S_OK;
}

HRESULT CDxAllocator::RenewMemory() {
    DeleteFree();
    m_allocated = 0;
    m_memory.reset();
    const std::uint64_t bytes = (std::uint64_t{static_cast<ULONG>(m_prefix)} + static_cast<ULONG>(m_size)) *
                                static_cast<ULONG>(m_count);
    if (bytes <= MAXLONG)
        m_memory = CDxMemory::Make(static_cast<std::size_t>(bytes));
    return m_memory == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT CDxAllocator::AddSample() {
    const std::size_t slice = static_cast<std::size_t>(m_prefix) + static_cast<std::size_t>(m_size);
    BYTE* const buffer = m_memory->Block() + slice * static_cast<std::size_t>(m_allocated) + m_prefix;
    auto* const sample = new (std::nothrow) CDeferZeroFillMediaSample(*this, m_memory, buffer, m_size);
    if (sample == nullptr)
        return E_OUTOFMEMORY;
    PutFree(sample);
    ++m_allocated;
    return S_OK;
}

STDMETHODIMP CDxAllocator::Free() {
    const CAutoLock lock(m_lock);
    if (FreeCount() < m_allocated) {
        m_memory.reset(); // the samples that are out keep it, and by it are told from those to come
        m_outstanding = 0;
    }
    DeleteFree();
    m_allocated = 0;
    m_committed = false;
    return S_OK;
}
