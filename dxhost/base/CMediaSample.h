#pragma once

#include "support/com.h"

#include <dshow.h>
#include <atomic>

class CBaseAllocator;

/// One media sample over a slice of its allocator's memory. When its last reference goes it returns to the
/// allocator, which alone deletes it; once each time it was taken, whatever else is given back. Threads: any
/// one at a time, as a sample is passed on.
class CMediaSample : public IMediaSample {
public:
    /// buffer: `size` bytes, the allocator's.
    CMediaSample(CBaseAllocator& allocator, BYTE* buffer, LONG size);
    virtual ~CMediaSample();
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetPointer(BYTE** buffer) override;
    STDMETHODIMP_(LONG) GetSize() override { return m_size; }
    STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    STDMETHODIMP SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    STDMETHODIMP IsSyncPoint() override { return Answer(kSyncPoint); }
    STDMETHODIMP SetSyncPoint(BOOL on) override { return Mark(kSyncPoint, on); }
    STDMETHODIMP IsPreroll() override { return Answer(kPreroll); }
    STDMETHODIMP SetPreroll(BOOL on) override { return Mark(kPreroll, on); }
    STDMETHODIMP_(LONG) GetActualDataLength() override { return m_actual; }
    STDMETHODIMP SetActualDataLength(LONG bytes) override;
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** type) override;
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP IsDiscontinuity() override { return Answer(kDiscontinuity); }
    STDMETHODIMP SetDiscontinuity(BOOL on) override { return Mark(kDiscontinuity, on); }
    STDMETHODIMP GetMediaTime(LONGLONG* start, LONGLONG* end) override;
    STDMETHODIMP SetMediaTime(LONGLONG* start, LONGLONG* end) override;

private:
    friend class CBaseAllocator; // links free samples and gives a taken one its first reference

    enum Flag : unsigned {
        kSyncPoint = 1,
        kPreroll = 2,
        kDiscontinuity = 4,
        kHasStart = 8,
        kHasEnd = 16,
        kHasMediaTime = 32
    };
    HRESULT Answer(Flag flag) const { return (m_flags & flag) != 0 ? S_OK : S_FALSE; }
    HRESULT Mark(Flag flag, BOOL on) {
        m_flags = on ? m_flags | flag : m_flags & ~unsigned{flag};
        return S_OK;
    }
    /// Taken again: one reference, and nothing left of its last use. (Not sooner: somebody may have given it
    /// back too often while it is still read.)
    void Renew();

    CBaseAllocator& m_allocator;
    std::atomic<ULONG> m_references = 0;
    std::atomic<bool> m_out = false; ///< taken and not yet returned
    BYTE* const m_buffer;
    const LONG m_size;
    LONG m_actual;
    unsigned m_flags = 0;
    REFERENCE_TIME m_start = 0;
    REFERENCE_TIME m_end = 0;
    LONGLONG m_mediaStart = 0;
    LONGLONG m_mediaEnd = 0;
    AM_MEDIA_TYPE* m_type = nullptr;
    CMediaSample* m_nextFree = nullptr;
};
