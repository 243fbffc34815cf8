#pragma once

#include "dxconv/exit_codes.h"

#include <string>

/// What a worker is to do with the command line that this process was started with.
struct Supervision {
    std::string subject;         ///< what error lines start with: IN, or the verb
    std::string output;          ///< OUT, "-" for the standard output; empty: nothing is written
    unsigned timeoutSeconds = 0; ///< for one call into the module or the effect; 0: none
};

/// Runs the worker, waits for it and returns what it says it ended with, when it says so. Whatever else ends
/// it, OUT is what it was, or complete, and no temporary file stays; then throws CError, with
/// ExitCode::EffectEnded, EffectHung, Conversion (a crash) or Cancelled.
ExitCode RunSupervised(const Supervision& job);
