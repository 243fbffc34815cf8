#pragma once

#include "dsp/dsp_api.h"
#include "support/handles.h"

#include <doctest/doctest.h>
#include <cstdint>
#include <string>
#include <vector>

namespace doctest {
template <>
struct StringMaker<std::wstring> {
    static String convert(const std::wstring& text) {
        std::string narrow;
        for (const wchar_t unit : text)
            narrow += unit < 128 ? static_cast<char>(unit) : '?';
        return narrow.c_str();
    }
};
} // namespace doctest

/// The module as a host has it: loaded from the file, its exports bound by name.
class CModule {
public:
    /// file: relative to the folder of the test program.
    explicit CModule(const std::wstring& file = L"..\\dxwrapper.dll");
    ~CModule();
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;

    DSP_CreateFn Create;
    DSP_DestroyFn Destroy;
    DSP_SetFn Set;
    DSP_GetFn Get;
    DSP_ShowConfigBitFn ShowConfigBit;
    DSP_RemoveConfigBitFn RemoveConfigBit;
    DSP_BeginConversionFn BeginConversion;
    DSP_PassAudioBlockFn PassAudioBlock;
    DSP_PassNonLiveFn PassNonLive;
    DSP_EndConversionFn EndConversion;
    DSP_AfterConversionFn AfterConversion;

private:
    HMODULE m_library;
};

/// A log file that is read back while the module may still write to it.
class CLogFile {
public:
    CLogFile();
    HANDLE Get() const { return m_file.Get(); }
    /// What was written since the last call.
    std::wstring Take();
    /// The same, less the indentation that the first line has (failed calls leave theirs behind).
    std::wstring TakeUnindented();

private:
    CHandle<HANDLE, ::CloseHandle> m_file;
    LONGLONG m_read = 0;
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
