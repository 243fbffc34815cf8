#pragma once

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBaseInputPin.h"
#include "dxhost/base/CBaseOutputPin.h"
#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"
#include "tests/dxconv/CInstalledEcho.h"

#include <doctest/doctest.h>
#include <mmreg.h>
#include <algorithm>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;

/// echo.dll from the folder above, registered while this lives; no object may outlive it. COM is
/// multithreaded: what is not at home there would come as a proxy, without IEcho.
class CEchoModule : public CInstalledEcho {
public:
    CEchoModule() { REQUIRE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
    ~CEchoModule() {
        CHECK(Call("DllCanUnloadNow") == S_OK);
        ::CoUninitialize();
    }
    template <typename T>
    ComPtr<T> Create(const GUID& clsid) const {
        ComPtr<T> object;
        REQUIRE(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&object)) == S_OK);
        return object;
    }
};

/// An upstream pin for every type, with two buffers of 8 KB from an allocator of its own.
class CSourcePin : public CBaseOutputPin {
public:
    explicit CSourcePin(CBaseFilter& filter) : CBaseOutputPin(filter, L"Source", nullptr) {}
    HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES request{2, 8192, 1, 0};
        ALLOCATOR_PROPERTIES granted{};
        return allocator->SetProperties(&request, &granted);
    }
    HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override {
        InitAllocator(allocator);
        return SizeAndNotify(input, *allocator, {}, m_readOnly);
    }
    bool m_readOnly = false;
};

/// A downstream pin for every type that remembers what arrived last.
class CSinkPin : public CBaseInputPin {
public:
    static constexpr REFERENCE_TIME kMarkedStart = 70;
    explicit CSinkPin(CBaseFilter& filter) : CBaseInputPin(filter, L"Sink", nullptr) {}
    HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
        float* floats = nullptr;
        sample->GetPointer(reinterpret_cast<BYTE**>(&floats));
        m_floats.assign(floats, floats + sample->GetActualDataLength() / 4);
        REFERENCE_TIME times[2]{};
        m_isMarked = sample->GetTime(&times[0], &times[1]) == VFW_S_NO_STOP_TIME &&
                     times[0] == kMarkedStart && sample->IsDiscontinuity() == S_OK;
        return S_OK;
    }
    STDMETHODIMP EndOfStream() override { return m_events += 'e', S_OK; }
    STDMETHODIMP BeginFlush() override { return m_events += 'f', S_OK; }
    STDMETHODIMP EndFlush() override { return m_events += 'F', S_OK; }
    std::vector<float> m_floats;
    std::string m_events;
    bool m_isMarked = false;
};

/// The effect, and around it one filter with a source and a sink.
class CEchoRig : public CBaseFilter {
public:
    CEchoRig() : CBaseFilter(GUID_NULL) {
        AddRef(); // its pins do not delete it
        REQUIRE(m_echo.As(&m_effect) == S_OK);
        m_effect->FindPin(L"In", &m_in);
        m_effect->FindPin(L"Out", &m_out);
    }
    ~CEchoRig() override {
        m_effect->Stop();
        Stop();
        for (IPin* const pin : std::initializer_list<IPin*>{&m_source, m_in.Get(), m_out.Get(), &m_sink})
            pin->Disconnect();
    }
    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override { return n == 0 ? static_cast<CBasePin*>(&m_source) : &m_sink; }

    void ConnectAndStart(DWORD rate, WORD channels, bool outputFirst = false) {
        const WORD frameBytes = static_cast<WORD>(channels * 4);
        CMediaType type;
        type.SetAudio({WAVE_FORMAT_IEEE_FLOAT, channels, rate, rate * frameBytes, frameBytes, 32, 0});
        for (const bool output : {outputFirst, !outputFirst})
            REQUIRE((output ? m_out->Connect(&m_sink, &type) : m_source.Connect(m_in.Get(), &type)) == S_OK);
        Start();
    }
    void Start() {
        REQUIRE(m_effect->Pause() == S_OK);
        REQUIRE(Pause() == S_OK);
    }
    void Set(const LONG (&values)[kEchoParameters]) {
        for (DWORD n = 0; n < kEchoParameters; ++n)
            REQUIRE(m_echo->SetParameter(n, values[n]) == S_OK);
    }
    /// One marked block through the effect; afterwards `data` is what the sample holds.
    HRESULT Push(std::vector<float>& data) {
        ComPtr<IMediaSample> sample;
        REQUIRE(m_source.GetDeliveryBuffer(&sample, nullptr, nullptr, 0) == S_OK);
        float* floats = nullptr;
        sample->GetPointer(reinterpret_cast<BYTE**>(&floats));
        std::copy(data.begin(), data.end(), floats);
        sample->SetActualDataLength(static_cast<LONG>(data.size() * 4));
        REFERENCE_TIME start = CSinkPin::kMarkedStart;
        sample->SetTime(&start, nullptr);
        sample->SetDiscontinuity(TRUE);
        const HRESULT result = m_source.Deliver(sample.Get());
        data.assign(floats, floats + data.size());
        return result;
    }

    const CEchoModule m_module;
    const ComPtr<IEcho> m_echo = m_module.Create<IEcho>(kEchoFilterClsid);
    ComPtr<IBaseFilter> m_effect;
    ComPtr<IPin> m_in;
    ComPtr<IPin> m_out;
    CSourcePin m_source{*this};
    CSinkPin m_sink{*this};
};
