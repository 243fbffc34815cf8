#include "dsp/trace_log.h"

#include "dsp/clDSP.h"
#include "support/handles.h"

#include <doctest/doctest.h>
#include <string>

namespace {

struct LogFile {
    LogFile() {
        wchar_t path[MAX_PATH] = L"";
        ::GetTempFileNameW(L".", L"log", 0, path);
        file = CKernelHandle(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
            FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    }
    /// What was written, a character for each UTF-16 unit; "?" for units that are no ASCII or cut in half.
    std::string Text() const {
        DWORD bytes = ::GetFileSize(file.Get(), nullptr);
        std::wstring units((bytes + 1) / sizeof(wchar_t), L'\xFFFF');
        ::SetFilePointer(file.Get(), 0, nullptr, FILE_BEGIN);
        ::ReadFile(file.Get(), units.data(), bytes, &bytes, nullptr);
        std::string text;
        for (const wchar_t unit : units)
            text += unit < 0x80 ? static_cast<char>(unit) : '?';
        return text;
    }
    CKernelHandle file;
};

// An instance and its three logs.
struct Host {
    LogFile error, info, trace;
    DSPHostContext context{error.file.Get(), info.file.Get(), trace.file.Get()};
    clDSP instance{&context};

    void Line(const wchar_t* message) { Trace(message, &instance, "f", true, nullptr); }
};

} // namespace

TEST_CASE("errors and information go marked to the trace and plain to their own file") {
    Host host;
    host.Line(L"->->");
    LogError(L"Error: Unsupported audio format", &host.instance, "clDSP::BeginConversion");
    LogInformation(L"Ready", &host.instance, nullptr);
    host.Line(L"<-<-");
    CHECK(host.trace.Text() == "->->  [f]\r\n"
                               "*** Error: Error: Unsupported audio format  [clDSP::BeginConversion]\r\n"
                               "*** Information: Ready\r\n"
                               "<-<-  [f]\r\n");
    CHECK(host.error.Text() == "Error: Unsupported audio format  [clDSP::BeginConversion]\r\n");
    CHECK(host.info.Text() == "Ready\r\n");
}

TEST_CASE("a line left open is continued without indentation, by whichever instance") {
    Host one;
    Host other;
    one.Line(L"->->");
    Trace(L"a", &one.instance, "f", false, nullptr);
    one.Line(L"b");
    Trace(L"c", &one.instance, "f", false, L"> ");
    other.Line(L"d");
    other.Line(L"<-<-");
    CHECK(one.trace.Text() == "->->  [f]\r\n  ab  [f]\r\n> c");
    CHECK(other.trace.Text() == "d  [f]\r\n<-<-  [f]\r\n");
}
