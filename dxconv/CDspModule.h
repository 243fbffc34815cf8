#pragma once

#include "dsp/dsp_api.h"

#include <string>

/// The loaded DSP module with its eleven functions. Errors: CError with ExitCode::Module.
class CDspModule {
public:
    /// name: of the DLL; empty for dxwrapper.dll beside this program.
    explicit CDspModule(const std::string& name);
    ~CDspModule();
    CDspModule(const CDspModule&) = delete;
    CDspModule& operator=(const CDspModule&) = delete;

    DSP_CreateFn Create = nullptr;
    DSP_DestroyFn Destroy = nullptr;
    DSP_SetFn Set = nullptr;
    DSP_GetFn Get = nullptr;
    DSP_ShowConfigBitFn ShowConfigBit = nullptr;
    DSP_RemoveConfigBitFn RemoveConfigBit = nullptr;
    DSP_BeginConversionFn BeginConversion = nullptr;
    DSP_PassAudioBlockFn PassAudioBlock = nullptr;
    DSP_PassNonLiveFn PassNonLive = nullptr;
    DSP_EndConversionFn EndConversion = nullptr;
    DSP_AfterConversionFn AfterConversion = nullptr;

private:
    template <typename Function>
    bool Bind(Function& function, const char* exportName);
    void BindAll(const std::string& name);

    HMODULE m_library = nullptr;
};
