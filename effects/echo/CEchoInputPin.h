#pragma once

#include "dxhost/base/CBaseInputPin.h"

class CEcho;

/// Where the effect's audio comes in. What arrives is processed and passed on within the call.
/// While the output is connected, only that connection's format is accepted and that pin's allocator offered.
class CEchoInputPin : public CBaseInputPin {
public:
    explicit CEchoInputPin(CEcho& echo);

    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveCanBlock() override { return S_OK; }

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;

    using CBaseInputPin::Allocator;
    using CBaseInputPin::IsReadOnly;

private:
    CEcho& m_echo;
};
