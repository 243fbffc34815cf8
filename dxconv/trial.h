#pragma once

#include "config/test_candidate.h"
#include "dxconv/use_test.h"

#include <string>

struct TrialOptions {
    bool use = false;            ///< also what a conversion and the editor need (TryUse)
    unsigned timeoutSeconds = 0; ///< for each step; 0: none
};

/// What came of a candidate that was tried in a process of its own.
struct Trial {
    CandidateVerdict verdict;
    UseFindings use;
    std::string refusal; ///< the end of a sentence about it ("has no property page"); empty: usable
    bool fatal = false;  ///< it crashed, ended the process or did not come back
};

/// Runs the trial. Throws CError when no process can be started, or with ExitCode::Cancelled after Ctrl+C,
/// which ends the candidate at once.
Trial TryInChild(const GUID& clsid, const TrialOptions& options);

/// The worker's part: tries the candidate that its page names. COM is initialised.
void RunTrial();
