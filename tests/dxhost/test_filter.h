#pragma once

#include "dxhost/base/CBaseFilter.h"
#include "dxhost/base/CBaseInputPin.h"

#include <doctest/doctest.h>
#include <mmreg.h>
#include <memory>
#include <vector>

inline WAVEFORMATEX FloatFormat(unsigned channels) {
    const auto frameBytes = static_cast<WORD>(4 * channels);
    return {
        WAVE_FORMAT_IEEE_FLOAT, static_cast<WORD>(channels), 44100, 44100u * frameBytes, frameBytes, 32, 0};
}

struct FloatType : CMediaType {
    explicit FloatType(unsigned channels) { REQUIRE(SetAudio(FloatFormat(channels)) == S_OK); }
    WAVEFORMATEX& Format() { return *reinterpret_cast<WAVEFORMATEX*>(pbFormat); }
};

/// A filter of whatever pins a test gives it.
class CTestFilter : public CBaseFilter {
public:
    CTestFilter() : CBaseFilter(GUID{1, 2, 3, {}}) {}
    int GetPinCount() override { return static_cast<int>(m_pins.size()); }
    CBasePin* GetPin(int n) override { return m_pins.at(static_cast<std::size_t>(n)).get(); }

    template <typename Pin>
    Pin& Add(const wchar_t* name, CForeignGuardPtr guard = nullptr) {
        m_pins.push_back(std::make_unique<Pin>(*this, name, std::move(guard)));
        return static_cast<Pin&>(*m_pins.back());
    }

private:
    std::vector<std::unique_ptr<CBasePin>> m_pins;
};

/// An input pin for float audio that refuses what a test wants refused.
class CTestInput : public CBaseInputPin {
public:
    using CBaseInputPin::CBaseInputPin;
    HRESULT CheckMediaType(const AM_MEDIA_TYPE* type) override {
        const bool fits = channels == 0 || CMediaType::Audio(type)->nChannels == channels;
        return IsFloatAudio(type) && fits ? S_OK : E_INVALIDARG;
    }
    HRESULT CompleteConnect(IPin*) override { return completion; }
    IMemAllocator* Announced() const { return CBaseInputPin::Allocator(); }

    WORD channels = 0; ///< the only count accepted; 0: any
    HRESULT completion = S_OK;
};
