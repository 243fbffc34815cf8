#pragma once

#include "dxhost/base/CBaseInputPin.h"

class CDxBufRenderer;

/// The input pin of CDxBufRenderer. Offers upstream the allocator that the graph gave it.
class CDxBufRendererInputPin : public CBaseInputPin {
public:
    CDxBufRendererInputPin(CDxBufRenderer& owner, CForeignGuardPtr guard);
    ~CDxBufRendererInputPin() override;

    /// Keeps `allocator` with a reference in place of the one before.
    void SetAllocator(IMemAllocator* allocator);

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    HRESULT SetMediaType(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    /// Takes any sample in any state and never waits. S_FALSE for null.
    STDMETHODIMP Receive(IMediaSample* sample) override;

private:
    CDxBufRenderer& m_owner;
    IMemAllocator* m_given = nullptr;
};
