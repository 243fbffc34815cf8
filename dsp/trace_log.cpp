#include "dsp/trace_log.h"

#include "dsp/clDSP.h"
#include "support/handles.h"
#include "support/text.h"

#include <algorithm>
#include <cwchar>
#include <exception>
#include <string>

namespace {

constexpr wchar_t kEntryMark[] = L"->->";
constexpr wchar_t kExitMark[] = L"<-<-";
constexpr std::size_t kIndentUnits = 2;

struct LogState {
    CKernelHandle mutex{::CreateMutexW(nullptr, FALSE, nullptr)};
    // Failed calls leave their entry's share behind, so it only ever grows: kept as a number, not as text.
    std::size_t indentUnits = 0;
    bool lastLineEnded = true;
};

LogState g_log; // from library load to unload

class CLogLock {
public:
    CLogLock() {
        if (g_log.mutex)
            ::WaitForSingleObject(g_log.mutex.Get(), INFINITE);
    }
    ~CLogLock() {
        if (g_log.mutex)
            ::ReleaseMutex(g_log.mutex.Get());
    }
    CLogLock(const CLogLock&) = delete;
    CLogLock& operator=(const CLogLock&) = delete;
};

bool BeginsWith(const wchar_t* text, const wchar_t* mark) {
    return std::wcsncmp(text, mark, std::wcslen(mark)) == 0;
}

std::wstring BuildLine(
    const std::wstring& prefix, const wchar_t* message, const char* function, bool endLine) {
    std::wstring line = prefix + message;
    if (endLine) {
        if (function != nullptr)
            line += L"  [" + AnsiToWide(function) + L"]";
        line += L"\r\n";
    }
    return line;
}

bool IsUsable(HANDLE file) {
    return file != nullptr && file != INVALID_HANDLE_VALUE;
}

void WriteUnits(HANDLE file, const std::wstring& text) {
    if (!IsUsable(file) || text.empty())
        return;
    DWORD written = 0;
    const DWORD bytes = static_cast<DWORD>(text.size()) * DWORD{sizeof(wchar_t)};
    ::WriteFile(file, text.data(), bytes, &written, nullptr);
}

void LogMarked(
    const wchar_t* message, const clDSP* instance, const char* function, const wchar_t* prefix, HANDLE file) {
    Trace(message, instance, function, true, prefix);
    try {
        WriteUnits(file, BuildLine({}, message == nullptr ? L"" : message, function, true));
    } catch (const std::exception&) {
        // As in Trace.
    }
}

} // namespace

void WriteText(HANDLE file, const wchar_t* text) {
    try {
        WriteUnits(file, text == nullptr ? L"" : text);
    } catch (const std::exception&) {
        // As in Trace.
    }
}

void Trace(const wchar_t* message, const clDSP* instance, const char* function, bool endLine,
    const wchar_t* prefix) {
    if (message == nullptr)
        message = L"";
    const CLogLock lock;
    try {
        if (BeginsWith(message, kExitMark))
            g_log.indentUnits -= std::min(g_log.indentUnits, kIndentUnits);
        const HANDLE file = instance == nullptr ? nullptr : instance->HostContext().hTraceLog;
        if (IsUsable(file)) {
            const std::size_t indentUnits = g_log.lastLineEnded ? g_log.indentUnits : 0;
            const std::wstring start = prefix != nullptr ? prefix : std::wstring(indentUnits, L' ');
            WriteUnits(file, BuildLine(start, message, function, endLine));
        }
    } catch (const std::exception&) {
        // Out of memory: the line is lost, the call goes on.
    }
    if (BeginsWith(message, kEntryMark))
        g_log.indentUnits += kIndentUnits;
    g_log.lastLineEnded = endLine;
}

void LogError(const wchar_t* message, const clDSP* instance, const char* function) {
    const HANDLE file = instance == nullptr ? nullptr : instance->HostContext().hErrorLog;
    LogMarked(message, instance, function, L"*** Error: ", file);
}

void LogInformation(const wchar_t* message, const clDSP* instance, const char* function) {
    const HANDLE file = instance == nullptr ? nullptr : instance->HostContext().hInfoLog;
    LogMarked(message, instance, function, L"*** Information: ", file);
}

void TraceEntry(const clDSP* instance, const char* function) {
    Trace(kEntryMark, instance, function, true, nullptr);
}

void TraceExit(const clDSP* instance, const char* function) {
    Trace(kExitMark, instance, function, true, nullptr);
}
