#include "dxconv/supervision.h"

#include "dxconv/CError.h"
#include "dxconv/COutputFile.h"
#include "dxconv/CProgress.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"
#include "dxconv/verdict_text.h"

#include <cwchar>

namespace {

constexpr unsigned kCancelGraceMs = 2000;
constexpr DWORD kEventMs = 100;
constexpr char kOtherEffect[] = "try another effect or other settings";

const char* CallText(WorkerCall call) {
    switch (call) {
    case WorkerCall::Load:
        return "being loaded";
    case WorkerCall::Begin:
        return "the start of the conversion";
    case WorkerCall::Block:
        return "a block";
    case WorkerCall::End:
        return "the end of the conversion";
    default:
        return "being released";
    }
}

// What ended a worker that did not say so itself.
struct Cause {
    ExitCode code;
    std::string what;
    const char* advice;
};

Cause FindCause(CChildProcess& child, ChildEnding ending, unsigned timeoutSeconds) {
    const WorkerPage& page = child.Page();
    if (ending == ChildEnding::TimedOut)
        return {ExitCode::EffectHung,
            std::string("the effect did not return from ") + CallText(page.call) + " for " +
                std::to_string(timeoutSeconds) + " s",
            "try another effect or a longer --timeout"};
    if (page.crash == 0) // a console event that ended the worker may be heard of only after its end
        ::WaitForSingleObject(InterruptionEvent(), kEventMs);
    if (IsCancelled())
        return {ExitCode::Cancelled, "cancelled", "run it again"};
    if (page.crash != 0)
        return {ExitCode::Conversion, "the module or the effect crashed (" + CrashText(page.crash) + ")",
            kOtherEffect};
    return {ExitCode::EffectEnded,
        "the effect ended the process (exit code " + HexText(child.ExitCode()) + ")", kOtherEffect};
}

// The worker has ended. Removes what it left of OUT; a worker that was stopped while it put OUT in its place
// has either done so or not.
OutputState SettleOutput(const WorkerPage& page, const std::wstring& temporary) {
    if (temporary.empty())
        return page.outputState;
    const bool moved = ::GetFileAttributesW(temporary.c_str()) == INVALID_FILE_ATTRIBUTES &&
                       ::GetLastError() == ERROR_FILE_NOT_FOUND;
    ::DeleteFileW(temporary.c_str());
    if (page.outputState != OutputState::Committing || page.streamed)
        return page.outputState;
    return moved ? OutputState::Committed : OutputState::Unfinished;
}

std::string Fate(OutputState output, const Supervision& job) {
    if (job.output.empty())
        return "";
    return output == OutputState::Committing ? "; its output is incomplete" : "; nothing was written";
}

} // namespace

CSupervisedRun::CSupervisedRun(const Supervision& job)
    : m_job(job), m_temporary(job.output.empty() ? L"" : COutputFile::TemporaryFor(job.output)) {
    SuperviseInterruptions();
    if (m_temporary.size() < WorkerPage::kLongestPath)
        std::wcscpy(Page().temporary, m_temporary.c_str());
}

ChildLimits CSupervisedRun::Limits() const {
    return {.callSeconds = m_job.timeoutSeconds, .cancelGraceMs = kCancelGraceMs};
}

bool CSupervisedRun::Look() {
    const std::optional<ChildEnding> ending = m_child.Look(Limits());
    m_ending = ending.value_or(m_ending);
    return ending.has_value();
}

void CSupervisedRun::Wait() {
    m_ending = m_child.Wait(Limits());
}

ExitCode CSupervisedRun::Settle() {
    const WorkerPage& page = Page();
    const OutputState output = SettleOutput(page, m_temporary);
    const auto said = static_cast<ExitCode>(page.exitCode.load());
    const bool finished = page.finished != 0;
    if (finished && (said != ExitCode::Ok || m_child.ExitCode() == 0))
        return said;
    CProgress::Wipe();
    const Cause cause = FindCause(m_child, m_ending, m_job.timeoutSeconds);
    if (finished || output == OutputState::Committed) {
        PrintErrorLine(m_job.subject + ": warning: " + cause.what + " when all was done" +
                       (m_job.output.empty() ? "" : "; the output is complete"));
        return ExitCode::Ok;
    }
    if (cause.code == ExitCode::Cancelled && output == OutputState::Unfinished)
        ThrowIfCancelled(m_job.output);
    throw CError(cause.code, m_job.subject, cause.what + Fate(output, m_job) + "; " + cause.advice);
}

ExitCode RunSupervised(const Supervision& job) {
    CSupervisedRun run(job);
    run.Start();
    run.Wait();
    return run.Settle();
}
