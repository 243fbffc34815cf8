#include "dsp/trace_log.h"

#include "dsp/clDSP.h"
#include "tests/dsp/CLogFile.h"

#include <doctest/doctest.h>

namespace {

// An instance and its three logs.
struct Host {
    CLogFile error, info, trace;
    DSPHostContext context{error.Get(), info.Get(), trace.Get()};
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
    CHECK(host.trace.Take() == L"->->  [f]\r\n"
                               L"*** Error: Error: Unsupported audio format  [clDSP::BeginConversion]\r\n"
                               L"*** Information: Ready\r\n"
                               L"<-<-  [f]\r\n");
    CHECK(host.error.Take() == L"Error: Unsupported audio format  [clDSP::BeginConversion]\r\n");
    CHECK(host.info.Take() == L"Ready\r\n");
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
    CHECK(one.trace.Take() == L"->->  [f]\r\n  ab  [f]\r\n> c");
    CHECK(other.trace.Take() == L"d  [f]\r\n<-<-  [f]\r\n");
}
