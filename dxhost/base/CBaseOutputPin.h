#pragma once

#include "dxhost/base/CBasePin.h"

#include <dshow.h>

/// An output pin that delivers samples to an IMemInputPin, from an allocator agreed on when it connects.
/// To derive: CheckMediaType, GetMediaType and DecideBufferSize; further what differs.
class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(CBaseFilter& filter, const wchar_t* name, CForeignGuardPtr guard)
        : CBasePin(filter, PINDIR_OUTPUT, name, std::move(guard)) {}
    ~CBaseOutputPin() override;

    HRESULT CheckConnect(IPin* peer) override;
    HRESULT CompleteConnect(IPin* peer) override;
    HRESULT BreakConnect() override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    /// Chooses the allocator, sizes it and announces it. *allocator gets a reference on success.
    /// The base takes what `input` offers, else the one from InitAllocator.
    virtual HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator);
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
    /// An allocator of the pin's own; the base makes the platform's memory allocator.
    virtual HRESULT InitAllocator(IMemAllocator** allocator);

    HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* end, DWORD flags);
    /// Returns when the connected filter has taken the sample. No lock of ours needs to be held.
    HRESULT Deliver(IMediaSample* sample);

protected:
    /// Borrowed; null while not connected.
    IMemInputPin* InputPin() const { return m_inputPin; }
    IMemAllocator* Allocator() const { return m_allocator; }
    /// What `input` asks for; alignment is at least 1. All zero when it has no wishes.
    ALLOCATOR_PROPERTIES Requirements(IMemInputPin* input);
    /// DecideBufferSize, then announces the allocator to `input`.
    HRESULT SizeAndNotify(
        IMemInputPin* input, IMemAllocator* allocator, ALLOCATOR_PROPERTIES request, bool readOnly);

private:
    IMemInputPin* m_inputPin = nullptr;
    IMemAllocator* m_allocator = nullptr;
};
