#include "dxhost/base/CMediaSample.h"

#include "dxhost/base/CBaseAllocator.h"
#include "dxhost/base/CMediaType.h"
#include "support/hresult.h"

namespace {

HRESULT NewType(const AM_MEDIA_TYPE& source, AM_MEDIA_TYPE** out) {
    auto* const copy = static_cast<AM_MEDIA_TYPE*>(::CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (copy == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT copied = CMediaType::CopyRecord(copy, source);
    if (FAILED(copied)) {
        ::CoTaskMemFree(copy);
        return copied;
    }
    *out = copy;
    return S_OK;
}

void DeleteType(AM_MEDIA_TYPE*& type) {
    if (type == nullptr)
        return;
    CMediaType::FreeRecord(*type);
    ::CoTaskMemFree(type);
    type = nullptr;
}

} // namespace

CMediaSample::CMediaSample(CBaseAllocator& allocator, BYTE* buffer, LONG size)
    : m_allocator(allocator), m_buffer(buffer), m_size(size), m_actual(size) {}

CMediaSample::~CMediaSample() {
    DeleteType(m_type);
}

STDMETHODIMP CMediaSample::QueryInterface(REFIID iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IMediaSample)
        return HandOut<IMediaSample>(this, out);
    *out = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CMediaSample::AddRef() {
    return m_references.fetch_add(1, std::memory_order_relaxed) + 1;
}

STDMETHODIMP_(ULONG) CMediaSample::Release() {
    const ULONG left = m_references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0 && m_out.exchange(false))
        m_allocator.ReleaseBuffer(this);
    return left;
}

void CMediaSample::Renew() {
    m_references.store(1, std::memory_order_relaxed);
    m_out.store(true, std::memory_order_relaxed);
    m_flags = 0;
    m_actual = m_size;
    DeleteType(m_type);
}

STDMETHODIMP CMediaSample::GetPointer(BYTE** buffer) {
    if (buffer == nullptr)
        return E_POINTER;
    *buffer = m_buffer;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    if (start == nullptr || end == nullptr)
        return E_POINTER;
    if ((m_flags & kHasStart) == 0)
        return VFW_E_SAMPLE_TIME_NOT_SET;
    *start = m_start;
    *end = (m_flags & kHasEnd) != 0 ? m_end : m_start + 1;
    return (m_flags & kHasEnd) != 0 ? S_OK : VFW_S_NO_STOP_TIME;
}

STDMETHODIMP CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    Mark(kHasStart, start != nullptr);
    Mark(kHasEnd, start != nullptr && end != nullptr);
    if (start != nullptr)
        m_start = *start;
    if (start != nullptr && end != nullptr)
        m_end = *end;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetActualDataLength(LONG bytes) {
    if (bytes < 0 || bytes > m_size)
        return VFW_E_BUFFER_OVERFLOW;
    m_actual = bytes;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
    if (type == nullptr)
        return E_POINTER;
    *type = nullptr;
    return m_type == nullptr ? S_FALSE : NewType(*m_type, type);
}

STDMETHODIMP CMediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
    AM_MEDIA_TYPE* copy = nullptr;
    if (type != nullptr)
        RETURN_IF_FAILED(NewType(*type, &copy));
    DeleteType(m_type);
    m_type = copy;
    return S_OK;
}

STDMETHODIMP CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* end) {
    if (start == nullptr || end == nullptr)
        return E_POINTER;
    if ((m_flags & kHasMediaTime) == 0)
        return VFW_E_MEDIA_TIME_NOT_SET;
    *start = m_mediaStart;
    *end = m_mediaEnd;
    return S_OK;
}

STDMETHODIMP CMediaSample::SetMediaTime(LONGLONG* start, LONGLONG* end) {
    if ((start == nullptr) != (end == nullptr))
        return E_POINTER;
    Mark(kHasMediaTime, start != nullptr);
    if (start != nullptr) {
        m_mediaStart = *start;
        m_mediaEnd = *end;
    }
    return S_OK;
}
