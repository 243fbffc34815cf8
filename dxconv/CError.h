#pragma once

#include "dxconv/exit_codes.h"

#include <exception>
#include <string>

/// The one exception of this program: ends the run with one line and an exit code.
class CError : public std::exception {
public:
    /// subject: the file or option that the line starts with; both UTF-8.
    CError(ExitCode code, const std::string& subject, const std::string& what)
        : m_code(code), m_line(subject + ": " + what) {}

    ExitCode Code() const { return m_code; }
    const char* what() const noexcept override { return m_line.c_str(); }

private:
    ExitCode m_code;
    std::string m_line;
};
