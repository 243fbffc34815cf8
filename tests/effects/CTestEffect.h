#pragma once

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBaseInputPin.h"
#include "dxhost/base/CBaseOutputPin.h"
#include "tests/effects/faults.h"

#include <ocidl.h>
#include <memory>
#include <vector>

class CTestEffect;

/// What the platform asks of either pin.
template <typename Base, Place info, Place direction, Place peer, Place disconnect>
class CTestPin : public Base {
public:
    using Base::Base;
    STDMETHODIMP QueryPinInfo(PIN_INFO* out) override {
        return Enter(
            info, [&] { return Base::QueryPinInfo(out); }, out);
    }
    STDMETHODIMP QueryDirection(PIN_DIRECTION* out) override {
        return Enter(
            direction, [&] { return Base::QueryDirection(out); }, out);
    }
    STDMETHODIMP ConnectedTo(IPin** out) override {
        return Enter(
            peer, [&] { return Base::ConnectedTo(out); }, out);
    }
    STDMETHODIMP Disconnect() override {
        return Enter(disconnect, [&] { return Base::Disconnect(); });
    }
};
using CTestInputBase = CTestPin<CBaseInputPin, Place::InputPinInfo, Place::InputDirection,
    Place::InputConnectedTo, Place::InputDisconnect>;
using CTestOutputBase = CTestPin<CBaseOutputPin, Place::OutputPinInfo, Place::OutputDirection,
    Place::OutputConnectedTo, Place::OutputDisconnect>;

class CTestInputPin : public CTestInputBase {
public:
    explicit CTestInputPin(CTestEffect& effect);

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* wishes) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;

    IMemAllocator* Announced() const { return Allocator(); }

private:
    CTestEffect& m_effect;
};

class CTestOutputPin : public CTestOutputBase {
public:
    explicit CTestOutputPin(CTestEffect& effect);

    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP Connect(IPin* peer, const AM_MEDIA_TYPE* type) override;
    HRESULT CompleteConnect(IPin* peer) override;
    HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

    IMemInputPin* Downstream() const { return InputPin(); }

private:
    CTestEffect& m_effect;
};

/// A transform filter as the plan wants it: in place, copying, in mono, delaying, changing the number of
/// frames, breaking at the planned place.
class CTestEffect : public CBaseFilter, public ISpecifyPropertyPages, public IPersistStream {
public:
    CTestEffect();
    ~CTestEffect() override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP GetClassID(CLSID* clsid) override { return CBaseFilter::GetClassID(clsid); }

    STDMETHODIMP EnumPins(IEnumPins** pins) override;
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    STDMETHODIMP Pause() override;
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    STDMETHODIMP Stop() override;

    STDMETHODIMP GetPages(CAUUID* pages) override;

    STDMETHODIMP IsDirty() override { return S_FALSE; }
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

    CTestInputPin& Input() { return m_input; }
    CTestOutputPin& Output() { return m_output; }
    HRESULT Transform(IMediaSample* sample);

protected:
    HRESULT QueryFurther(REFIID iid, void** out) override;

private:
    HRESULT Deliver(IMediaSample* input, IMediaSample* output, std::uint32_t frames);
    void Process(const float* in, float* out, std::uint32_t frames, std::uint32_t outChannels);
    void Note(IMediaSample* sample, std::uint32_t frames);

    CTestInputPin m_input{*this};
    CTestOutputPin m_output{*this};
    std::vector<float> m_line; // delay * 2 floats
    std::size_t m_linePos = 0;
};
