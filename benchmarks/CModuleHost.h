#pragma once

#include "dsp/dsp_api.h"

#include <cstddef>

/// tag: WAVE_FORMAT_PCM or WAVE_FORMAT_IEEE_FLOAT; bits: of one sample; rate: frames per second.
WAVEFORMATEX HostFormat(WORD tag, WORD bits, WORD channels = 2, DWORD rate = 44100);

/// Throws std::runtime_error with the code when it is one of failure.
void Must(HRESULT result);

/// The built module as a host has it, and one instance in it. The effect Echo is registered in the prefix.
/// What the module refuses ends the benchmark: std::runtime_error.
class CModuleHost {
public:
    CModuleHost();
    ~CModuleHost();
    CModuleHost(const CModuleHost&) = delete;
    CModuleHost& operator=(const CModuleHost&) = delete;

    /// Begins a conversion through Echo.
    void Begin(const WAVEFORMATEX& format);
    /// One normal block, processed in place.
    void Pass(void* data, std::size_t bytes);
    void End();
    /// Lets the effect go, which the instance else keeps after a conversion.
    void Drop();

private:
    template <typename Function>
    void Bind(Function& function, const char* name);

    const HMODULE m_library;
    DSP_CreateFn m_create = nullptr;
    DSP_DestroyFn m_destroy = nullptr;
    DSP_BeginConversionFn m_begin = nullptr;
    DSP_PassAudioBlockFn m_pass = nullptr;
    DSP_EndConversionFn m_end = nullptr;
    DSP_AfterConversionFn m_after = nullptr;
    void* m_instance = nullptr;
    DSPAudioBlock m_block{};
};
