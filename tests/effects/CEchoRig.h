#pragma once

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBaseInputPin.h"
#include "dxhost/base/CBaseOutputPin.h"
#include "effects/echo/IEcho.h"
#include "effects/echo/guids.h"

#include <doctest/doctest.h>
#include <mmreg.h>
#include <wrl/client.h>
#include <algorithm>
#include <string>
#include <vector>

/// echo.dll, loaded from the folder above the working one, with COM around it.
class CEchoModule {
public:
    CEchoModule() {
        REQUIRE(SUCCEEDED(::CoInitialize(nullptr)));
        m_module = ::LoadLibraryW(L"..\\echo.dll");
        REQUIRE(m_module != nullptr);
    }
    ~CEchoModule() {
        CHECK(CanUnload() == S_OK);
        ::FreeLibrary(m_module);
        ::CoUninitialize();
    }

    HRESULT CanUnload() const { return Export<HRESULT(STDAPICALLTYPE*)()>("DllCanUnloadNow")(); }
    HRESULT ClassObject(const GUID& clsid, const GUID& iid, void** out) const {
        using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
        return Export<Function>("DllGetClassObject")(clsid, iid, out);
    }
    template <typename T>
    Microsoft::WRL::ComPtr<T> Create(const GUID& clsid, const GUID& iid) const {
        Microsoft::WRL::ComPtr<IClassFactory> factory;
        REQUIRE(
            ClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())) == S_OK);
        Microsoft::WRL::ComPtr<T> object;
        REQUIRE(
            factory->CreateInstance(nullptr, iid, reinterpret_cast<void**>(object.GetAddressOf())) == S_OK);
        return object;
    }
    HMODULE Handle() const { return m_module; }

private:
    template <typename Function>
    Function Export(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(m_module, name)));
    }
    HMODULE m_module = nullptr;
};

/// An upstream pin that offers every type, with 2 buffers of `kBufferBytes` from an allocator of its own or
/// from the one it is offered.
class CSourcePin : public CBaseOutputPin {
public:
    static constexpr LONG kBufferBytes = 8192;
    explicit CSourcePin(CBaseFilter& filter) : CBaseOutputPin(filter, L"Source", nullptr) {}
    using CBaseOutputPin::Allocator;

    HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES*) override {
        ALLOCATOR_PROPERTIES request{2, kBufferBytes, 1, 0};
        ALLOCATOR_PROPERTIES granted{};
        return allocator->SetProperties(&request, &granted);
    }
    HRESULT DecideAllocator(IMemInputPin* input, IMemAllocator** allocator) override {
        if (m_takeOffer)
            return input->GetAllocator(allocator), SizeAndNotify(input, *allocator, {}, false);
        return InitAllocator(allocator), SizeAndNotify(input, *allocator, {}, m_readOnly);
    }
    bool m_readOnly = false;
    bool m_takeOffer = false;
};

/// A downstream pin that takes every type, remembers what arrives and offers an allocator like any other pin.
class CSinkPin : public CBaseInputPin {
public:
    explicit CSinkPin(CBaseFilter& filter) : CBaseInputPin(filter, L"Sink", nullptr) {}
    using CBaseInputPin::Allocator;

    HRESULT CheckMediaType(const AM_MEDIA_TYPE*) override { return S_OK; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
        BYTE* bytes = nullptr;
        sample->GetPointer(&bytes);
        const auto* const floats = reinterpret_cast<const float*>(bytes);
        m_samples.assign(
            floats, floats + static_cast<std::size_t>(sample->GetActualDataLength()) / sizeof(float));
        REFERENCE_TIME end = 0;
        m_timed = sample->GetTime(&m_start, &end);
        m_discontinuity = sample->IsDiscontinuity() == S_OK;
        m_last = sample;
        return S_OK;
    }
    STDMETHODIMP EndOfStream() override { return Note('e'); }
    STDMETHODIMP BeginFlush() override { return Note('f'); }
    STDMETHODIMP EndFlush() override { return Note('F'); }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return Note('n'); }

    std::vector<float> m_samples;
    REFERENCE_TIME m_start = 0;
    HRESULT m_timed = E_FAIL;
    bool m_discontinuity = false;
    const IMediaSample* m_last = nullptr; // to compare with only
    std::string m_events;

private:
    HRESULT Note(char event) { return m_events += event, S_OK; }
};

template <typename Pin>
class COnePinFilter : public CBaseFilter {
public:
    COnePinFilter() : CBaseFilter(GUID_NULL), m_pin(*this) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &m_pin : nullptr; }
    Pin m_pin;
};

/// The type by which hosts connect float audio: subtype PCM, tag 3.
inline WAVEFORMATEX FloatFormat(DWORD rate, WORD channels) {
    const WORD frameBytes = static_cast<WORD>(channels * 4);
    return {WAVE_FORMAT_IEEE_FLOAT, channels, rate, rate * frameBytes, frameBytes, 32, 0};
}

/// Source, effect and sink, connected without a graph and streaming between Start and Stop.
class CEchoRig {
public:
    explicit CEchoRig(const CEchoModule& module)
        : m_effect(module.Create<IBaseFilter>(kEchoFilterClsid, IID_IBaseFilter)) {
        m_effect->QueryInterface(IID_IEcho, reinterpret_cast<void**>(m_echo.GetAddressOf()));
        m_effect->FindPin(L"In", &m_in);
        m_effect->FindPin(L"Out", &m_out);
        m_in->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(m_memIn.GetAddressOf()));
    }
    ~CEchoRig() {
        Stop();
        for (IPin* pin :
            {static_cast<IPin*>(&Source()), m_in.Get(), m_out.Get(), static_cast<IPin*>(&Sink())})
            pin->Disconnect();
    }

    CSourcePin& Source() { return m_source->m_pin; }
    CSinkPin& Sink() { return m_sink->m_pin; }

    HRESULT ConnectInput(DWORD rate, WORD channels) {
        CMediaType type;
        type.SetAudio(FloatFormat(rate, channels));
        return Source().Connect(m_in.Get(), &type);
    }
    HRESULT ConnectOutput() { return m_out->Connect(&Sink(), nullptr); }
    void Start() {
        for (IBaseFilter* filter : {static_cast<IBaseFilter*>(m_sink.Get()), m_effect.Get(),
                 static_cast<IBaseFilter*>(m_source.Get())})
            REQUIRE(filter->Pause() == S_OK);
    }
    void Stop() {
        for (IBaseFilter* filter : {static_cast<IBaseFilter*>(m_sink.Get()), m_effect.Get(),
                 static_cast<IBaseFilter*>(m_source.Get())})
            filter->Stop();
    }
    void Set(LONG delayMs, LONG feedback, LONG mix) {
        const LONG values[] = {delayMs, feedback, mix};
        for (DWORD n = 0; n < kEchoParameters; ++n)
            REQUIRE(m_echo->SetParameter(n, values[n]) == S_OK);
    }

    /// One block through the effect; what arrived is in Sink(). The sample carries start time 70 and the
    /// discontinuity mark. Afterwards `data` is what the sample holds.
    HRESULT Push(std::vector<float>& data) {
        Microsoft::WRL::ComPtr<IMediaSample> sample;
        REQUIRE(Source().GetDeliveryBuffer(&sample, nullptr, nullptr, 0) == S_OK);
        BYTE* bytes = nullptr;
        sample->GetPointer(&bytes);
        float* const floats = reinterpret_cast<float*>(bytes);
        std::copy(data.begin(), data.end(), floats);
        sample->SetActualDataLength(static_cast<LONG>(data.size() * sizeof(float)));
        REFERENCE_TIME start = 70;
        sample->SetTime(&start, nullptr);
        sample->SetDiscontinuity(TRUE);
        const HRESULT result = Source().Deliver(sample.Get());
        m_wasInPlace = Sink().m_last == sample.Get();
        data.assign(floats, floats + data.size());
        return result;
    }

    Microsoft::WRL::ComPtr<IBaseFilter> m_effect;
    Microsoft::WRL::ComPtr<IEcho> m_echo;
    Microsoft::WRL::ComPtr<IPin> m_in;
    Microsoft::WRL::ComPtr<IPin> m_out;
    Microsoft::WRL::ComPtr<IMemInputPin> m_memIn;
    bool m_wasInPlace = false;

private:
    Microsoft::WRL::ComPtr<COnePinFilter<CSourcePin>> m_source = new COnePinFilter<CSourcePin>;
    Microsoft::WRL::ComPtr<COnePinFilter<CSinkPin>> m_sink = new COnePinFilter<CSinkPin>;
};
