#pragma once

#include "dxconv/CChildProcess.h"
#include "dxconv/exit_codes.h"

#include <string>

/// What a worker is to do with the command line that this process was started with.
struct Supervision {
    std::string subject;         ///< what error lines start with: IN, or the verb
    std::string output;          ///< OUT, "-" for the standard output; empty: nothing is written
    unsigned timeoutSeconds = 0; ///< for one call into the module or the effect; 0: none
};

/// A worker that is under way. Ctrl+C is from the first one on left to who runs it. Thread: one.
class CSupervisedRun {
public:
    explicit CSupervisedRun(const Supervision& job);

    WorkerPage& Page() { return m_child.Page(); }
    void Start() { m_child.Start(); }
    /// Signalled when it has ended.
    HANDLE Process() const { return m_child.Process(); }
    /// Whether it has ended, or had to be ended. Call at least every CChildProcess::kPollMs.
    bool Look();
    void Wait();

    /// What it says that it ended with, when it says so. Whatever else ended it, OUT is what it was, or
    /// complete, and no temporary file stays; then throws CError, with ExitCode::EffectEnded, EffectHung,
    /// Conversion (a crash) or Cancelled. Call once it has ended.
    ExitCode Settle();

private:
    ChildLimits Limits() const;

    Supervision m_job;
    std::wstring m_temporary;
    CChildProcess m_child;
    ChildEnding m_ending = ChildEnding::ByItself;
};

/// Runs one worker to its end.
ExitCode RunSupervised(const Supervision& job);
