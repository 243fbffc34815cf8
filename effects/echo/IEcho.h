#pragma once

#include <windows.h>
#include <unknwn.h>

/// What can be set on the effect. The values are part of the interface and of the saved state.
enum EchoParameter : DWORD {
    kEchoDelay = 0,    ///< milliseconds
    kEchoFeedback = 1, ///< per cent of the delayed signal that goes round again
    kEchoMix = 2,      ///< per cent of the delayed signal in the output; the rest is the input
    kEchoParameters = 3
};

struct EchoRange {
    LONG least;
    LONG most;
    LONG initial;
    constexpr bool Holds(LONG value) const { return least <= value && value <= most; }
};

/// By EchoParameter. Feedback stays below 100 so that every tail dies out.
inline constexpr EchoRange kEchoRanges[kEchoParameters] = {{1, 2000, 250}, {0, 95, 40}, {0, 100, 35}};

/// The effect's parameters, for its property page and for programs.
/// Threads: any, also while audio runs; a new value counts from the next sample buffer on.
struct IEcho : public IUnknown {
    /// E_POINTER for a null `value`; E_INVALIDARG, *value 0, for a parameter that there is not.
    virtual HRESULT STDMETHODCALLTYPE GetParameter(DWORD parameter, LONG* value) = 0;

    /// E_INVALIDARG for a parameter that there is not or a value outside its range; nothing changes then.
    virtual HRESULT STDMETHODCALLTYPE SetParameter(DWORD parameter, LONG value) = 0;
};

/// {2303077E-355B-41F5-9624-3E42DD05F72C}
inline constexpr GUID IID_IEcho = {
    0x2303077E, 0x355B, 0x41F5, {0x96, 0x24, 0x3E, 0x42, 0xDD, 0x05, 0xF7, 0x2C}};
__CRT_UUID_DECL(IEcho, 0x2303077E, 0x355B, 0x41F5, 0x96, 0x24, 0x3E, 0x42, 0xDD, 0x05, 0xF7, 0x2C)
