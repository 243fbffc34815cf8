#pragma once

#include "dxhost/base/CBasePin.h"

#include <dshow.h>

/// An input pin fed through IMemInputPin. Holds the allocator that the upstream pin announced while
/// connected. To derive: CheckMediaType, and Receive for what is to happen to a sample.
class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    CBaseInputPin(CBaseFilter& filter, const wchar_t* name, CForeignGuardPtr guard)
        : CBasePin(filter, PINDIR_INPUT, name, std::move(guard)) {}
    ~CBaseInputPin() override { ForeignRelease(m_allocator); }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return CBasePin::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return CBasePin::Release(); }

    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    /// The announced allocator, or the platform's memory allocator made for the purpose.
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
    /// The base only says whether samples are welcome: S_OK, S_FALSE while flushing, VFW_E_WRONG_STATE when
    /// stopped.
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

protected:
    /// Borrowed; null before the upstream pin asked for or announced one.
    IMemAllocator* Allocator() const { return m_allocator; }
    bool IsReadOnly() const { return m_readOnly; }

private:
    IMemAllocator* m_allocator = nullptr;
    bool m_readOnly = false;
    bool m_flushing = false;
};
