// A DSP module without DirectShow, for tests of the host. The name in the settings string says what it does:
//   xor N             every byte of audio is xored with N, so that nothing passes by accident
//   tail N            N bytes 0x11 are appended to the last block, in the module's own memory
//   fail-begin, fail-block N, crash-block N, abort-block N (N from 0), no-data, hang, slow (20 ms a block)
// With DXCONV_FAKE in the environment the module says that it is not live.
// Every call writes one line to the trace log; PassAudioBlock with the bytes and the last-block mark.
#include "dsp/dsp_api.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Instance {
    DSPHostContext logs;
    std::wstring command;
    int argument = 0;
    int blocks = 0;
    std::vector<BYTE> tail;
};

Instance* From(void* instance) {
    return static_cast<Instance*>(instance);
}

void Log(HANDLE log, const std::wstring& text) {
    DWORD written = 0;
    const std::wstring line = text + L"\r\n";
    if (log != nullptr)
        WriteFile(log, line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written, nullptr);
}

void Trace(void* instance, const std::wstring& text) {
    Log(From(instance)->logs.hTraceLog, text);
}

DWORD FailWith(void* instance, const wchar_t* message) {
    Log(From(instance)->logs.hErrorLog, L"Error: an earlier line");
    Log(From(instance)->logs.hErrorLog, message);
    return 0;
}

} // namespace

extern "C" {

void* __cdecl DSP_Create(const DSPHostContext* context) {
    auto* instance = new Instance{*context, {}, 0, 0, {}};
    Trace(instance, L"Create");
    return instance;
}

DWORD __cdecl DSP_Destroy(void* instance) {
    Trace(instance, L"Destroy");
    delete From(instance);
    return 1;
}

DWORD __cdecl DSP_Set(void*, const wchar_t*, const wchar_t*) {
    return 0;
}
DWORD __cdecl DSP_Get(void*, const wchar_t* key, void*) {
    return std::wstring(key) == L"IsLive" && std::getenv("DXCONV_FAKE") == nullptr ? 1 : 0;
}
HWND __cdecl DSP_ShowConfigBit(void*, HWND, int, int, const wchar_t*) {
    return nullptr;
}
const wchar_t* __cdecl DSP_RemoveConfigBit(void*, int) {
    return L"";
}
DWORD __cdecl DSP_PassNonLive(void*, DWORD, DWORD, DWORD, DWORD) {
    return 1;
}

DWORD __cdecl DSP_BeginConversion(void* opaque, const DSPConversionInfo* info, const wchar_t* settings) {
    Instance* instance = From(opaque);
    const WAVEFORMATEX& format = *info->pFormat;
    const std::wstring text = settings;
    const std::wstring name = text.substr(0, text.find(L"=X"));
    instance->command = name.substr(0, name.find(L' '));
    instance->argument = name.find(L' ') == name.npos ? 0 : _wtoi(name.c_str() + name.find(L' '));
    Trace(opaque,
        L"Begin " + std::to_wstring(format.wFormatTag) + L" " + std::to_wstring(format.nChannels) + L" " +
            std::to_wstring(format.nSamplesPerSec) + L" " + std::to_wstring(format.nAvgBytesPerSec) + L" " +
            std::to_wstring(format.wBitsPerSample) + L" " + std::to_wstring(format.cbSize) + L" " + text);
    return instance->command == L"fail-begin" ? FailWith(opaque, L"Error: no such effect  [fake]") : 1;
}

DWORD __cdecl DSP_PassAudioBlock(void* opaque, DSPAudioBlock* block) {
    Instance* instance = From(opaque);
    Trace(opaque, L"Pass " + std::to_wstring(block->nBytes) + (block->bLastBlock != 0 ? L" last" : L""));
    const bool now = instance->blocks++ == instance->argument;
    if (instance->command == L"fail-block" && now)
        return FailWith(opaque, L"Error: effect gave no output  [fake]");
    if (instance->command == L"crash-block" && now)
        RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    if (instance->command == L"abort-block" && now)
        std::abort();
    if (instance->command == L"slow")
        Sleep(20);
    if (instance->command == L"hang")
        Sleep(INFINITE);
    if (instance->command == L"no-data")
        block->pData = nullptr;
    if (instance->command == L"xor")
        for (INT32 i = 0; i < block->nBytes; ++i)
            block->pData[i] = static_cast<BYTE>(block->pData[i] ^ instance->argument);
    if (instance->command == L"tail" && block->bLastBlock != 0) {
        instance->tail.assign(block->pData, block->pData + block->nBytes);
        instance->tail.insert(instance->tail.end(), static_cast<std::size_t>(instance->argument), 0x11);
        block->pData = instance->tail.data();
        block->nBytes = static_cast<INT32>(instance->tail.size());
    }
    return 1;
}

DWORD __cdecl DSP_EndConversion(void* instance, DWORD) {
    Trace(instance, L"End");
    return 1;
}

DWORD __cdecl DSP_AfterConversion(void* instance, DWORD) {
    Trace(instance, L"After");
    return 1;
}
}
