#pragma once

#include "dxconv/CDspModule.h"
#include "tests/dsp/CLogFile.h"

#include <doctest/doctest.h>
#include <cstdint>
#include <string>
#include <vector>

/// The module as a host has it: loaded from the file, its exports bound by name.
struct CModule : CDspModule {
    CModule() : CDspModule("..\\dxwrapper.dll") {}
};

/// One instance with its three logs.
class CHost {
public:
    explicit CHost(CModule& module);
    ~CHost() { m_module.Destroy(instance); }
    CHost(const CHost&) = delete;
    CHost& operator=(const CHost&) = delete;

    DWORD Begin(const WAVEFORMATEX& format, const std::wstring& settings);
    DWORD Begin(const WAVEFORMATEX& format, const GUID& clsid) {
        return Begin(format, SettingsFor(L"Test", clsid));
    }
    /// Passes `data` in blocks of `blockFrames` frames, the last one marked, and gives back what came out.
    /// Stops at a failure; `failed` tells. blockFrames 0: blocks of uneven sizes.
    std::vector<std::uint8_t> Run(
        const WAVEFORMATEX& format, std::vector<std::uint8_t> data, std::uint32_t blockFrames);

    /// Frames of block n in such a run.
    static std::size_t BlockFrames(std::uint32_t blockFrames, std::size_t n) {
        return blockFrames != 0 ? blockFrames : 1 + n * 2654435761u % 1999;
    }

    static std::wstring SettingsFor(
        const std::wstring& name, const GUID& clsid, const std::vector<std::uint8_t>& state = {});
    static WAVEFORMATEX Format(WORD tag, WORD bits, WORD channels, DWORD rate = 44100);
    static DSPAudioBlock Block(const WAVEFORMATEX& format, void* data, std::size_t bytes, bool last);

    CLogFile errors;
    CLogFile information;
    CLogFile trace;
    void* instance = nullptr;
    bool failed = false;

private:
    CModule& m_module;
};
