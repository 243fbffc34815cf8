// A DSP module without DirectShow, for tests of the host. The name in the settings string says what it does:
//   xor N     every byte of audio is xored with N, so that nothing passes by accident
//   tail N    N bytes 0x11 are appended to the last block, in the module's own memory
//   print     prints to the standard output, in both ways
//   fail-begin, fail-block, crash-block, abort-block (the fourth), hang, slow (50 ms a block)
//   exit-begin, exit-block, exit-after, exit-destroy: ends the process as if all were well
//   kill-block (with exit code 0xBEEF), lose-stack-block, hang-begin, hang-destroy
//   thread-block: faults on a thread of its own
// Every call writes one line to the trace log.
#include "dsp/dsp_api.h"

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

namespace {

// The host makes one instance a process.
DSPHostContext g_logs;
std::wstring g_command;
int g_argument = 0;
int g_blocks = 0;
std::vector<BYTE> g_tail;

DWORD Log(std::wstring line, HANDLE log = g_logs.hTraceLog, DWORD result = 1) {
    DWORD written = 0;
    line += L"\r\n";
    if (log != nullptr)
        WriteFile(log, line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written, nullptr);
    return result;
}

DWORD WINAPI FaultHere(void*) {
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return 0;
}

void Misbehave(const wchar_t* where) {
    if (g_command == std::wstring(L"exit-") + where)
        ExitProcess(0);
    if (g_command == std::wstring(L"hang-") + where)
        Sleep(INFINITE);
}

} // namespace

extern "C" {

void* __cdecl DSP_Create(const DSPHostContext* context) {
    g_logs = *context;
    Log(L"Create");
    return &g_logs;
}
DWORD __cdecl DSP_Destroy(void*) {
    Misbehave(L"destroy");
    return Log(L"Destroy");
}
DWORD __cdecl DSP_Set(void*, const wchar_t*, const wchar_t*) {
    return 0;
}
DWORD __cdecl DSP_Get(void*, const wchar_t* key, void*) {
    return key == std::wstring(L"IsLive") ? 1 : 0;
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

DWORD __cdecl DSP_BeginConversion(void*, const DSPConversionInfo* info, const wchar_t* settings) {
    g_command.assign(settings, std::wcscspn(settings, L" ="));
    g_argument = _wtoi(settings + g_command.size());
    const WAVEFORMATEX& format = *info->pFormat;
    Log(L"Begin " + std::to_wstring(format.wFormatTag) + L" " + std::to_wstring(format.nAvgBytesPerSec) +
        L" " + std::to_wstring(format.cbSize) + L" " + settings);
    Misbehave(L"begin");
    return g_command == L"fail-begin" ? Log(L"Error: no such effect  [fake]", g_logs.hErrorLog, 0) : 1;
}

DWORD __cdecl DSP_PassAudioBlock(void*, DSPAudioBlock* block) {
    Log(L"Pass " + std::to_wstring(block->nBytes) + (block->bLastBlock != 0 ? L" last" : L""));
    const bool now = g_blocks++ == 3;
    if (g_command == L"fail-block" && now)
        return Log(L"Error: another\r\nError: effect gave no output  [fake]", g_logs.hErrorLog, 0);
    if (now)
        Misbehave(L"block");
    if (g_command == L"kill-block" && now)
        TerminateProcess(GetCurrentProcess(), 0xBEEF);
    if (g_command == L"lose-stack-block" && now)
        asm volatile("movl $8, %esp\n\tpushl $0");
    if (g_command == L"thread-block" && now) {
        CreateThread(nullptr, 0, FaultHere, nullptr, 0, nullptr);
        Sleep(INFINITE);
    }
    if (g_command == L"crash-block" && now)
        RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    if (g_command == L"abort-block" && now)
        std::abort();
    if (g_command == L"slow" || g_command == L"hang")
        Sleep(g_command == L"slow" ? 50 : INFINITE);
    if (g_command == L"xor")
        for (INT32 i = 0; i < block->nBytes; ++i)
            block->pData[i] = static_cast<BYTE>(block->pData[i] ^ g_argument);
    if (g_command == L"print") {
        Log(L"a block", GetStdHandle(STD_OUTPUT_HANDLE));
        std::puts("a block");
        std::fflush(stdout);
    }
    if (g_command == L"tail" && block->bLastBlock != 0) {
        g_tail.assign(block->pData, block->pData + block->nBytes);
        g_tail.resize(g_tail.size() + static_cast<std::size_t>(g_argument), 0x11);
        block->pData = g_tail.data();
        block->nBytes = static_cast<INT32>(g_tail.size());
    }
    return 1;
}

DWORD __cdecl DSP_EndConversion(void*, DWORD) {
    return Log(L"End");
}
DWORD __cdecl DSP_AfterConversion(void*, DWORD) {
    Misbehave(L"after");
    return Log(L"After");
}
}
