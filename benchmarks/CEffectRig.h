#pragma once

#include "dxhost/CDxAllocator.h"
#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBaseInputPin.h"
#include "dxhost/base/CBaseOutputPin.h"

#include <wrl/client.h>
#include <cstdint>

/// The effect Echo by itself, running: fed straight at its input pin, with a sink behind it that drops what
/// arrives, and a sample from the allocator that the module would give it. Throws std::runtime_error when
/// Echo can't be had.
class CEffectRig : public CBaseFilter {
public:
    explicit CEffectRig(std::uint32_t frames);
    ~CEffectRig() override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;

    /// What the module pays the effect for one piece. The sample is silent and stays so: Echo does the same
    /// work for every value.
    void Receive() { m_input->Receive(m_sample.Get()); }

private:
    class CSource : public CBaseOutputPin {
    public:
        CSource(CBaseFilter& filter, IMemAllocator& allocator)
            : CBaseOutputPin(filter, L"Out", nullptr), m_allocator(allocator) {}
        HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
        HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
        HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override;

    private:
        IMemAllocator& m_allocator;
    };

    class CSink : public CBaseInputPin {
    public:
        explicit CSink(CBaseFilter& filter) : CBaseInputPin(filter, L"In", nullptr) {}
        HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
        STDMETHODIMP Receive(IMediaSample*) override { return S_OK; }
    };

    Microsoft::WRL::ComPtr<CDxAllocator> m_allocator;
    Microsoft::WRL::ComPtr<IBaseFilter> m_effect;
    Microsoft::WRL::ComPtr<IPin> m_in;
    Microsoft::WRL::ComPtr<IPin> m_out;
    Microsoft::WRL::ComPtr<IMemInputPin> m_input;
    Microsoft::WRL::ComPtr<IMediaSample> m_sample;
    std::unique_ptr<CSource> m_source;
    CSink m_sink{*this};
};
