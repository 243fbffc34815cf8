// The eleven exported functions: floating-point modes, null check, texts that can be read, forward.

#include "dsp/clDSP.h"
#include "dsp/dsp_api.h"
#include "support/CFloatModes.h"
#include "support/host_memory.h"

#include <exception>
#include <new>

namespace {

// Nothing may leave an export: what memory shortage could still throw is the null or 0 of a failure.
template <typename Method>
auto Forward(void* instance, Method&& method) -> decltype(method(*static_cast<clDSP*>(nullptr))) {
    if (instance == nullptr)
        return {};
    const CFloatModes modes;
    try {
        return method(*static_cast<clDSP*>(instance));
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace

extern "C" {

void* __cdecl DSP_Create(const DSPHostContext* context) {
    const CFloatModes modes;
    try {
        return new clDSP(context);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

DWORD __cdecl DSP_Destroy(void* instance) {
    const CFloatModes modes;
    clDSP::Destroy(static_cast<clDSP*>(instance));
    return 1;
}

DWORD __cdecl DSP_Set(void* instance, const wchar_t* key, const wchar_t* value) {
    return Forward(instance, [=](clDSP& dsp) { return dsp.Set(ReadableText(key), value); });
}

DWORD __cdecl DSP_Get(void* instance, const wchar_t* key, void* value) {
    return Forward(instance, [=](clDSP& dsp) { return dsp.Get(ReadableText(key), value); });
}

HWND __cdecl DSP_ShowConfigBit(void* instance, HWND parent, int x, int y, const wchar_t* settings) {
    return Forward(
        instance, [=](clDSP& dsp) { return dsp.ShowConfigBit(parent, x, y, ReadableText(settings)); });
}

const wchar_t* __cdecl DSP_RemoveConfigBit(void* instance, int code) {
    return Forward(instance, [=](clDSP& dsp) { return dsp.RemoveConfigBit(code); });
}

DWORD __cdecl DSP_BeginConversion(void* instance, const DSPConversionInfo* info, const wchar_t* settings) {
    return Forward(instance, [=](clDSP& dsp) { return dsp.BeginConversion(info, ReadableText(settings)); });
}

DWORD __cdecl DSP_PassAudioBlock(void* instance, DSPAudioBlock* block) {
    return Forward(instance, [=](clDSP& dsp) { return dsp.PassAudioBlock(block); });
}

DWORD __cdecl DSP_PassNonLive(void* instance, DWORD, DWORD, DWORD, DWORD) {
    return Forward(instance, [](clDSP& dsp) { return dsp.PassNonLive(); });
}

DWORD __cdecl DSP_EndConversion(void* instance, DWORD) {
    return Forward(instance, [](clDSP& dsp) { return dsp.EndConversion(); });
}

DWORD __cdecl DSP_AfterConversion(void* instance, DWORD) {
    return Forward(instance, [](clDSP& dsp) { return dsp.AfterConversion(); });
}

} // extern "C"
