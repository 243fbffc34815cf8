#pragma once

#include "config/test_candidate.h"

#include <string>

/// Why a candidate was refused, as the end of a sentence about it ("has no property page"); empty when it
/// passed.
std::string RefusalText(const CandidateVerdict& verdict);
