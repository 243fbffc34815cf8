#pragma once

#include "dxconv/CError.h"

#include <string>
#include <vector>

/// The report of an examination: "ok", "warn" or "FAIL", what was looked at, what was found, what to do. As
/// text each line is printed as soon as it is known; as JSON the whole is, by Finish. All text is UTF-8 and
/// holds no personal paths (ShownPath).
class CCheckup {
public:
    explicit CCheckup(bool json) : m_json(json) {}

    void Ok(const std::string& what, const std::string& found) { Add("ok", what, found, {}); }
    void Warn(const std::string& what, const std::string& found, const std::string& advice) {
        Add("warn", what, found, advice);
    }
    void Fail(const std::string& what, const std::string& found, const std::string& advice) {
        ++m_failed;
        Add("FAIL", what, found, advice);
    }
    /// For an error whose line starts with `subject`.
    void Fail(const std::string& what, const CError& error, const std::string& subject);

    /// Throws CError with ExitCode::Internal when something failed.
    void Finish();

private:
    void Add(const char* grade, const std::string& what, const std::string& found, const std::string& advice);

    const bool m_json;
    int m_failed = 0;
    std::vector<std::string> m_findings; // JSON
};
