#include "dxconv/trial.h"

#include "dxconv/CChildProcess.h"
#include "dxconv/installed_class.h"
#include "dxconv/interruption.h"
#include "dxconv/verdict_text.h"
#include "dxconv/worker.h"

namespace {

std::string WhenText(const Trial& trial) {
    switch (trial.use.step) {
    case UseStep::None:
        return StepText(trial.verdict);
    case UseStep::Page:
        return "when its property page was created";
    case UseStep::State:
        return "when it was asked for its state";
    case UseStep::Audio:
        return "when it processed a second of noise";
    default:
        return "when it was released";
    }
}

// The worker came to no end of its own.
std::string FatalText(CChildProcess& child, ChildEnding ending, const Trial& trial, unsigned timeoutSeconds) {
    std::string what = "ended the process (exit code " + HexText(child.ExitCode()) + ")";
    const DWORD crash = child.Page().crash;
    if (ending == ChildEnding::TimedOut)
        what = "did not answer for " + std::to_string(timeoutSeconds) + " s";
    else if (crash != 0)
        what = "crashed (" + CrashText(crash) + ")";
    return what + " " + WhenText(trial);
}

} // namespace

Trial TryInChild(const GUID& clsid, const TrialOptions& options) {
    CChildProcess child;
    WorkerPage& page = child.Page();
    page.task = options.use ? WorkerTask::CandidateUse : WorkerTask::Candidate;
    page.clsid = clsid;
    child.Start();
    const ChildEnding ending = child.Wait({.callSeconds = options.timeoutSeconds});
    if (page.finished == 0)
        ThrowIfCancelled({});
    Trial trial{page.verdict, page.use, {}, false};
    if (page.finished == 0) {
        trial.refusal = FatalText(child, ending, trial, options.timeoutSeconds);
        trial.fatal = true;
        return trial;
    }
    if (trial.verdict.step == CandidateStep::Create && trial.verdict.fault == 0)
        trial.refusal = InstallationProblem(clsid);
    if (trial.refusal.empty())
        trial.refusal = RefusalText(trial.verdict);
    if (trial.refusal.empty())
        trial.refusal = UseRefusalText(trial.use);
    trial.fatal = trial.verdict.fault != 0;
    return trial;
}

void RunTrial() {
    WorkerPage& page = *OwnPage();
    const CInsideCall inside(WorkerCall::Candidate);
    TryCandidate(page.clsid, page.verdict);
    if (page.task == WorkerTask::CandidateUse && page.verdict.Passed())
        TryUse(page.clsid, page.use);
}
