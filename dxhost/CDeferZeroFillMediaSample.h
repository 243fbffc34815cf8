#pragma once

#include "dxhost/CDxMemory.h"
#include "dxhost/IDeferZeroFill.h"
#include "dxhost/base/CMediaSample.h"

/// A media sample that becomes silent only when its data is first asked for.
class CDeferZeroFillMediaSample : public CMediaSample, public IDeferZeroFill {
public:
    /// buffer: `size` bytes inside `memory`, which lives as long as the sample.
    CDeferZeroFillMediaSample(
        CBaseAllocator& allocator, std::shared_ptr<CDxMemory> memory, BYTE* buffer, LONG size)
        : CMediaSample(allocator, buffer, size), m_memory(std::move(memory)) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return CMediaSample::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return CMediaSample::Release(); }

    STDMETHODIMP GetPointer(BYTE** buffer) override;

    STDMETHODIMP_(BOOL) GetDeferZeroFill() override { return m_deferZero; }
    STDMETHODIMP_(BOOL) SetDeferZeroFill(BOOL value) override { return m_deferZero = value; }
    STDMETHODIMP GetPointerNoZeroFill(BYTE** buffer) override;

    /// The block that the sample's buffer lies in: tells samples of an earlier allocation from present ones.
    const CDxMemory* Memory() const { return m_memory.get(); }

private:
    const std::shared_ptr<CDxMemory> m_memory;
    BOOL m_deferZero = FALSE;
};
