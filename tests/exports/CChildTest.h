#pragma once

#include "support/handles.h"

#include <doctest/doctest.h>
#include <string>

/// A case of this program, skipped ones too, that runs in a process of its own and prints into this one's
/// output.
class CChildTest {
public:
    explicit CChildTest(const std::string& testCase) {
        char program[MAX_PATH] = "";
        ::GetModuleFileNameA(nullptr, program, MAX_PATH);
        std::string line =
            "\"" + std::string(program) + "\" --minimal --no-skip \"--test-case=" + testCase + "\"";
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = startup.hStdError = ::GetStdHandle(STD_OUTPUT_HANDLE);
        PROCESS_INFORMATION info{};
        REQUIRE(::CreateProcessA(
            nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info));
        m_process.Reset(info.hProcess);
        ::CloseHandle(info.hThread);
    }
    bool EndsWithin(DWORD ms) const { return ::WaitForSingleObject(m_process.Get(), ms) == WAIT_OBJECT_0; }
    /// Ends it, with 9, if it still runs; its exit code.
    DWORD Finish() const {
        ::TerminateProcess(m_process.Get(), 9);
        ::WaitForSingleObject(m_process.Get(), INFINITE);
        DWORD code = 0;
        ::GetExitCodeProcess(m_process.Get(), &code);
        return code;
    }

private:
    CKernelHandle m_process;
};
