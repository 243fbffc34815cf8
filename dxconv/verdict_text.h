#pragma once

#include "config/test_candidate.h"

#include <string>

/// Why a candidate was refused, as the end of a sentence about it ("has no property page"); empty when it
/// passed.
std::string RefusalText(const CandidateVerdict& verdict);

/// "when it was created": what the candidate was asked last.
std::string StepText(const CandidateVerdict& verdict);

/// "0x0000BEEF"
std::string HexText(unsigned long code);

/// The exception that ended a worker (WorkerPage::crash): its code, or "abort".
std::string CrashText(unsigned long crash);
