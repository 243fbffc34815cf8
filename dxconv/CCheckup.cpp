#include "dxconv/CCheckup.h"

#include "dxconv/json.h"
#include "dxconv/text.h"

void CCheckup::Fail(const std::string& what, const CError& error, const std::string& subject) {
    std::string line = error.what();
    if (line.starts_with(subject + ": "))
        line.erase(0, subject.size() + 2);
    const std::size_t advice = line.rfind("; ");
    if (advice == line.npos)
        Fail(what, line, "");
    else
        Fail(what, line.substr(0, advice), line.substr(advice + 2));
}

void CCheckup::Add(
    const char* grade, const std::string& what, const std::string& found, const std::string& advice) {
    if (m_json) {
        m_findings.push_back(JsonObject({{"result", JsonText(grade)}, {"what", JsonText(what)},
            {"finding", JsonText(found)}, {"advice", advice.empty() ? "null" : JsonText(advice)}}));
        return;
    }
    std::string line = grade;
    line.resize(6, ' ');
    Print(STD_OUTPUT_HANDLE, line + what + ": " + found + (advice.empty() ? "" : "; " + advice) + "\n");
}

void CCheckup::Finish() {
    if (m_json)
        Print(STD_OUTPUT_HANDLE,
            JsonObject({{"ok", m_failed == 0 ? "true" : "false"}, {"findings", JsonList(m_findings)}}) +
                "\n");
    if (m_failed != 0)
        throw CError(ExitCode::Internal, "doctor",
            std::to_string(m_failed) + (m_failed == 1 ? " check" : " checks") +
                " failed; do what the lines with FAIL say");
}
