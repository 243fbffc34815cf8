#pragma once

#include "dxhost/CDxMemory.h"
#include "dxhost/IDeferZeroFill.h"
#include "dxhost/base/CBaseAllocator.h"

#include <atomic>

/// The samples that travel source -> effect -> renderer in one graph. The requests of all pins add up;
/// buffers come and go with Alloc and Free, which the graph calls, never with Commit and Decommit. Running
/// out of samples is an error at once: blocks are pushed one at a time on one thread, so nobody could return
/// one meanwhile.
///
/// Threads: one takes samples; they may be returned on any.
class CDxAllocator : public CBaseAllocator, public IDeferZeroFillAllocator {
public:
    static constexpr LONG kSizeCapBytes = 0x20000; ///< largest buffer granted
    static constexpr LONG kReportedCount = 2;      ///< most buffers that GetProperties admits to

    /// *allocator gets a new allocator with one reference. E_POINTER, E_OUTOFMEMORY.
    static HRESULT Create(CDxAllocator** allocator, CForeignGuardPtr guard = nullptr);

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return CBaseAllocator::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return CBaseAllocator::Release(); }

    /// Adds the request's count to the buffers; the size becomes the largest asked for, up to the cap. An
    /// alignment below 1 counts as 1. *actual: the count now, the request's own size rounded up so that with
    /// the prefix it fills whole alignment units, and the alignment and prefix in force.
    /// VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING, E_POINTER, E_INVALIDARG for negative figures.
    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    STDMETHODIMP Commit() override { return S_OK; }
    STDMETHODIMP Decommit() override { return S_OK; }
    /// Never waits: E_OUTOFMEMORY when every sample is out, VFW_E_NOT_COMMITTED before Alloc.
    STDMETHODIMP GetBuffer(
        IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end, DWORD flags) override;
    STDMETHODIMP ReleaseBuffer(IMediaSample* sample) override;

    STDMETHODIMP Reset(LONG count) override;
    STDMETHODIMP Alloc() override;
    STDMETHODIMP Free() override;

    LONG Outstanding() const { return m_outstanding.load(); }
    LONG MostOutstanding() const { return m_mostOutstanding; }

private:
    using CBaseAllocator::CBaseAllocator;

    HRESULT RenewMemory();
    HRESULT AddSample();

    std::shared_ptr<CDxMemory> m_memory;
    bool m_firstRequest = true;
    std::atomic<LONG> m_outstanding = 0;
    LONG m_mostOutstanding = 0;
};
